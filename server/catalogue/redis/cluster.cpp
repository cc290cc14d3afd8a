// SPDX-License-Identifier: Apache-2.0
#include "catalogue/redis/cluster.h"

#include <poll.h>

#include <algorithm>
#include <thread>

namespace tarn::server::redis {

namespace {

using namespace std::chrono_literals;

constexpr auto kPause = 20ms;     // between two rounds of a wave that has patience
constexpr auto kMapEvery = 250ms; // while something is wrong
constexpr auto kTryEvery = 250ms; // a node that refuses connections
constexpr auto kProofWithin = 1s; // then the connection is made anew
constexpr int kMaxRedirections = 16;
constexpr size_t kLogin = SIZE_MAX;
constexpr size_t kProof = SIZE_MAX - 1;
constexpr size_t kAsking = SIZE_MAX - 2;
constexpr size_t kReadOnly = SIZE_MAX - 3;
constexpr std::string_view kAllDown = "CLUSTERDOWN The cluster is down"; // not one slot alone
constexpr std::string_view kNoCluster = "cluster support disabled";

} // namespace

struct Cluster::Round {
    const Commands& commands;
    std::vector<Reply> replies;
    std::vector<Sent> again; // at once: it was sent elsewhere, or over a connection that had been idle
    std::vector<Sent> later;
    std::string refused;
};

Cluster::Cluster(Location location, Milliseconds timeout) : location_(std::move(location)), timeout_(timeout) {
    if (!location_.password.empty()) {
        if (location_.user.empty()) {
            appendCommand(login_, {"AUTH", location_.password});
        } else {
            appendCommand(login_, {"AUTH", location_.user, location_.password});
        }
    }
    for (const Address& address : location_.nodes) numberOf(address);
    owners_.fill(kUnknown);
    readMap();
    if (mapIsStale_) throw unavailable();
}

CatalogueUnavailable Cluster::unavailable() const {
    return CatalogueUnavailable("The catalogue " + location_.shown + " does not answer: " + trouble_ +
                                "; start what is missing, then run this again");
}

std::vector<Reply> Cluster::ask(const Commands& commands, Milliseconds patience) {
    Round round{commands, std::vector<Reply>(commands.size()), {}, {}, {}};
    std::vector<Sent> open;
    for (size_t i = 0; i < commands.size(); ++i) open.push_back({i, kUnknown, false});
    const auto until = Clock::now() + patience;
    for (int redirections = 0; !open.empty();) {
        const bool isRouted = commands.slotOf(0) != kSlots; // what reads the map is not
        if (isRouted && mapIsStale_ && Clock::now() >= mapRead_ + kMapEvery) readMap();
        for (Node& node : nodes_) { // to look for others may take long: the name of one may have to be resolved
            const bool isAsked = !isRouted && &node == &nodes_[commands.nodeOf(0)];
            if (node.failed && (node.master || isAsked)) revive(node, round);
        }
        for (const Sent& sent : open) dispatch(sent, round);
        exchange(round);
        if (!round.refused.empty()) throw CatalogueError(round.refused);
        const bool atOnce = !round.again.empty() && ++redirections < kMaxRedirections;
        open = std::move(round.again);
        open.insert(open.end(), round.later.begin(), round.later.end());
        std::ranges::sort(open, {}, &Sent::command);
        round.again.clear();
        round.later.clear();
        if (atOnce) continue;
        if (Clock::now() >= until) break;
        if (!open.empty()) std::this_thread::sleep_for(kPause);
    }
    return std::move(round.replies);
}

void Cluster::connect(Node& node, Round& round) {
    node.link = std::make_unique<Link>(node.address);
    node.answered = false;
    node.heard = Clock::now();
    if (!node.link->trouble().empty()) {
        fail(node, node.link->trouble(), false, round);
        return;
    }
    if (!login_.empty()) {
        node.link->say(login_);
        node.expected.push_back({kLogin, kUnknown, false});
    }
    if (!readsReplicas_ || node.master) return;
    std::string readOnly;
    appendCommand(readOnly, {"READONLY"});
    node.link->say(readOnly);
    node.expected.push_back({kReadOnly, kUnknown, false});
}

size_t Cluster::replicaOf(const Node& node) const {
    if (!readsReplicas_) return kUnknown;
    const auto found = std::ranges::find_if(node.replicas, [&](size_t replica) { return !nodes_[replica].failed; });
    return found == node.replicas.end() ? kUnknown : *found;
}

// Looks, without waiting, whether a node that failed answers again.
void Cluster::revive(Node& node, Round& round) {
    if (node.link && Clock::now() >= node.heard + kProofWithin) {
        node.link.reset();
        node.expected.clear();
    }
    if (!node.link) {
        if (Clock::now() < node.tryAt) return;
        connect(node, round);
        if (!node.link) return;
        std::string ping;
        appendCommand(ping, {"PING"});
        node.link->say(ping);
        node.expected.push_back({kProof, kUnknown, false});
    }
    node.link->send();
    listen(node, round);
}

void Cluster::dispatch(const Sent& sent, Round& round) {
    const size_t slot = round.commands.slotOf(sent.command);
    size_t number = sent.node;
    if (slot == kSlots) number = round.commands.nodeOf(sent.command);
    if (number == kUnknown) number = owners_[slot];
    if (number != kUnknown && slot != kSlots && nodes_[number].failed) {
        mapIsStale_ = true;
        if (const size_t replica = replicaOf(nodes_[number]); replica != kUnknown) number = replica;
    }
    if (number != kUnknown && !nodes_[number].failed) {
        Node& node = nodes_[number];
        if (!node.link) connect(node, round);
        if (node.link) {
            if (sent.asking) {
                std::string asking;
                appendCommand(asking, {"ASKING"});
                node.link->say(asking);
                node.expected.push_back({kAsking, kUnknown, false});
            }
            node.link->say(round.commands.text(sent.command));
            node.expected.push_back(sent);
            return;
        }
    }
    if (number == kUnknown) trouble_ = "no node has the slot " + std::to_string(slot);
    mapIsStale_ = true;
    round.later.push_back({sent.command, kUnknown, false});
}

void Cluster::exchange(Round& round) {
    std::vector<Node*> busy;
    std::vector<pollfd> polled;
    const auto begin = Clock::now();
    for (Node& node : nodes_) {
        if (node.failed || node.expected.empty()) continue;
        node.heard = begin;
        busy.push_back(&node);
        if (!node.link->send()) fail(node, node.link->trouble(), false, round);
    }
    for (;;) {
        std::erase_if(busy, [](const Node* node) { return node->expected.empty(); });
        if (busy.empty()) return;
        polled.clear();
        auto wake = Clock::time_point::max();
        for (const Node* node : busy) {
            const bool writes = node->link->hasUnsent();
            polled.push_back({node->link->descriptor(), static_cast<short>(writes ? POLLIN | POLLOUT : POLLIN), 0});
            wake = std::min(wake, node->heard + timeout_);
        }
        const auto wait = std::chrono::ceil<Milliseconds>(wake - Clock::now()).count();
        ::poll(polled.data(), polled.size(), static_cast<int>(std::max<int64_t>(wait, 0)));
        const auto now = Clock::now();
        for (size_t i = 0; i < busy.size(); ++i) {
            Node& node = *busy[i];
            if (polled[i].revents != 0) {
                node.heard = now;
                listen(node, round);
            } else if (now >= node.heard + timeout_) {
                fail(node, "no answer within " + std::to_string(timeout_.count()) + " ms", true, round);
            }
        }
    }
}

void Cluster::listen(Node& node, Round& round) {
    if (node.link->receive()) {
        while (Reply reply = node.link->take()) {
            if (node.expected.empty()) return fail(node, "it sent an answer to nothing", false, round);
            const Sent sent = node.expected.front();
            node.expected.pop_front();
            judge(node, sent, std::move(reply), round);
        }
        node.link->send();
    }
    if (!node.link->trouble().empty()) fail(node, node.link->trouble(), false, round);
}

void Cluster::judge(Node& node, const Sent& sent, Reply reply, Round& round) {
    node.answered = true;
    const bool isCommand = sent.command < round.replies.size();
    const std::string_view text = textOf(*reply);
    if (reply->type != REDIS_REPLY_ERROR || (isCommand && text.find(kNoCluster) != std::string_view::npos)) {
        if (sent.command == kProof) node.failed = false;
        if (isCommand) round.replies[sent.command] = std::move(reply);
    } else if (const auto redirection = redirectionIn(text, node.address.host)) {
        const size_t target = numberOf(redirection->address);
        if (!redirection->once) {
            owners_[redirection->slot] = target;
            ++mapVersion_;
            mapIsStale_ = true;
        }
        round.again.push_back({sent.command, target, redirection->once});
    } else if (willPass(text)) {
        trouble_ = toText(node.address) + ": " + std::string(text);
        if (text.starts_with(kAllDown)) trouble_ += " (set cluster-require-full-coverage no, and the others answer)";
        mapIsStale_ = true;
        if (isCommand) round.later.push_back({sent.command, kUnknown, false});
    } else if (round.refused.empty()) { // after a login that is refused, all else is
        round.refused = toText(node.address) + ": " + std::string(text) + "; " + remedyForError(text);
    }
}

// late: it may be frozen, so that nothing waits for its answer to a new connection.
void Cluster::fail(Node& node, const std::string& why, bool late, Round& round) {
    trouble_ = toText(node.address) + ": " + why;
    const bool wasIdle = node.answered && !node.failed && !late;
    const bool askAtOnce = wasIdle || replicaOf(node) != kUnknown;
    if (node.answered && !node.failed) ++upheavals_;
    for (const Sent& sent : node.expected) {
        if (sent.command < round.replies.size())
            (askAtOnce ? round.again : round.later).push_back({sent.command, kUnknown, false});
    }
    node.expected.clear();
    node.link.reset();
    node.answered = false;
    node.failed = !wasIdle;
    node.tryAt = late ? Clock::now() : Clock::now() + kTryEvery;
    mapIsStale_ = true;
}

} // namespace tarn::server::redis
