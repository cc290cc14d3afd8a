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
constexpr size_t kUnknown = SIZE_MAX;
constexpr size_t kLogin = SIZE_MAX;
constexpr size_t kProof = SIZE_MAX - 1;
constexpr size_t kAsking = SIZE_MAX - 2;
constexpr std::string_view kNoCluster = "cluster support disabled";

void appendCommand(std::string& text, std::span<const std::string_view> words) {
    const auto head = [&text](char kind, size_t number) {
        text.push_back(kind);
        text += std::to_string(number);
        text += "\r\n";
    };
    head('*', words.size());
    for (const std::string_view word : words) {
        head('$', word.size());
        text += word;
        text += "\r\n";
    }
}

void appendCommand(std::string& text, Commands::Words words) {
    appendCommand(text, std::span(words.begin(), words.size()));
}

} // namespace

void Commands::append(std::span<const std::string_view> words, size_t slot, size_t node) {
    entries_.push_back({text_.size(), slot, node});
    appendCommand(text_, words);
}

std::string_view Commands::text(size_t command) const {
    const size_t end = command + 1 == entries_.size() ? text_.size() : entries_[command + 1].begin;
    return std::string_view(text_).substr(entries_[command].begin, end - entries_[command].begin);
}

void Commands::clear() {
    text_.clear();
    entries_.clear();
}

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

size_t Cluster::numberOf(const Address& address) {
    const auto found = std::ranges::find(nodes_, address, &Node::address);
    if (found == nodes_.end()) {
        nodes_.emplace_back().address = address;
        return nodes_.size() - 1;
    }
    return static_cast<size_t>(found - nodes_.begin());
}

std::vector<size_t> Cluster::masters() const {
    std::vector<size_t> masters;
    for (size_t i = 0; i < nodes_.size(); ++i) {
        if (nodes_[i].master) masters.push_back(i);
    }
    return masters;
}

size_t Cluster::nodeOf(size_t slot) {
    if (owners_[slot] == kUnknown) {
        trouble_ = "no node has the slot " + std::to_string(slot);
        throw unavailable();
    }
    return owners_[slot];
}

uint64_t Cluster::mapVersion() {
    readMap();
    return mapVersion_;
}

size_t Cluster::uncovered() const { return static_cast<size_t>(std::ranges::count(owners_, kUnknown)); }

// Asks one node after another, beginning with the one that answered last.
void Cluster::readMap() {
    mapRead_ = Clock::now();
    mapIsStale_ = true;
    const size_t count = nodes_.size();
    for (size_t i = 0; i < count; ++i) {
        const size_t node = (mapFrom_ + i) % count;
        Commands command;
        command.addFor(node, {"CLUSTER", "SLOTS"});
        const Reply reply = std::move(ask(command, 0ms).front());
        if (!reply || !takeMap(node, *reply)) continue;
        mapFrom_ = node;
        mapIsStale_ = false;
        return;
    }
}

bool Cluster::takeMap(size_t from, const redisReply& reply) {
    const bool single = reply.type == REDIS_REPLY_ERROR;
    if (single && location_.nodes.size() > 1) {
        throw CatalogueError(nameOf(from) + " has no cluster mode: name this one server alone");
    }
    std::optional<std::vector<SlotRange>> ranges;
    if (single) {
        ranges = {{0, kSlots - 1, nodes_[from].address, {}}};
    } else {
        ranges = slotRangesIn(reply, nodes_[from].address.host);
    }
    if (!ranges || ranges->empty()) {
        trouble_ = nameOf(from) + " knows of no node that has slots";
        return false;
    }
    std::vector<bool> before;
    for (Node& node : nodes_) {
        before.push_back(node.master);
        node.master = node.replicated = false;
    }
    const auto ownersBefore = owners_;
    owners_.fill(kUnknown);
    for (const SlotRange& range : *ranges) {
        const size_t owner = numberOf(range.master);
        nodes_[owner].master = true;
        nodes_[owner].replicated |= !range.replicas.empty();
        std::fill(owners_.begin() + static_cast<ptrdiff_t>(range.first),
                  owners_.begin() + static_cast<ptrdiff_t>(range.last) + 1, owner);
        for (const Address& replica : range.replicas) numberOf(replica); // who else can be asked for the map
    }
    if (owners_ != ownersBefore) ++mapVersion_;
    for (size_t i = 0; i < before.size(); ++i) {
        if (before[i] && !nodes_[i].master) ++upheavals_;
    }
    return true;
}

std::vector<Reply> Cluster::ask(const Commands& commands, Milliseconds patience) {
    Round round{commands, std::vector<Reply>(commands.size()), {}, {}, {}};
    std::vector<Sent> open;
    for (size_t i = 0; i < commands.size(); ++i) open.push_back({i, kUnknown, false});
    const auto until = Clock::now() + patience;
    for (int redirections = 0; !open.empty();) {
        const bool isRouted = commands.entries_.front().slot != kSlots; // what reads the map is not
        if (isRouted && mapIsStale_ && Clock::now() >= mapRead_ + kMapEvery) readMap();
        for (Node& node : nodes_) { // to look for others may take long: the name of one may have to be resolved
            const bool isAsked = !isRouted && &node == &nodes_[commands.entries_.front().node];
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
    if (login_.empty()) return;
    node.link->say(login_);
    node.expected.push_back({kLogin, kUnknown, false});
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
    const Commands::Entry& entry = round.commands.entries_[sent.command];
    size_t number = sent.node;
    if (entry.slot == kSlots) number = entry.node;
    if (number == kUnknown) number = owners_[entry.slot];
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
    if (number == kUnknown) trouble_ = "no node has the slot " + std::to_string(entry.slot);
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
    if (node.answered && !node.failed) ++upheavals_;
    for (const Sent& sent : node.expected) {
        if (sent.command < round.replies.size())
            (wasIdle ? round.again : round.later).push_back({sent.command, kUnknown, false});
    }
    node.expected.clear();
    node.link.reset();
    node.answered = false;
    node.failed = !wasIdle;
    node.tryAt = late ? Clock::now() : Clock::now() + kTryEvery;
    mapIsStale_ = true;
}

} // namespace tarn::server::redis
