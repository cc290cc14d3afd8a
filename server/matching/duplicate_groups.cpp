// SPDX-License-Identifier: Apache-2.0
#include "matching/duplicate_groups.h"

#include <algorithm>
#include <tuple>

namespace tarn::server {

uint32_t Relations::classOf(uint32_t id) {
    uint32_t lowest = sameAs_.try_emplace(id, id).first->second;
    while (sameAs_[lowest] != lowest) lowest = sameAs_[lowest];
    sameAs_[id] = lowest;
    return lowest;
}

void Relations::addCopies(uint32_t a, uint32_t b) {
    const uint32_t classA = classOf(a);
    const uint32_t classB = classOf(b);
    sameAs_[std::max(classA, classB)] = std::min(classA, classB);
}

void Relations::addPart(uint32_t part, uint32_t whole, uint32_t startMs, uint32_t wholeMs) {
    classOf(part);
    classOf(whole);
    lengthMs_[whole] = wholeMs;
    parts_.push_back({part, whole, startMs});
}

std::map<uint32_t, Relations::Class> Relations::classes() {
    std::map<uint32_t, Class> classes;
    for (const auto& [id, same] : sameAs_) {
        Class& its = classes[classOf(id)];
        its.ids.push_back(id);
        const auto length = lengthMs_.find(id);
        if (length != lengthMs_.end()) its.longestMs = std::max(its.longestMs, length->second);
    }
    for (const Part& part : parts_) {
        if (classOf(part.part) != classOf(part.whole)) classes[classOf(part.whole)].parts.push_back(part);
    }
    return classes;
}

DuplicateGroup Relations::groupOf(uint32_t lowest, std::map<uint32_t, Class>& classes) {
    DuplicateGroup group;
    group.copies = classes[lowest].ids;
    std::map<uint32_t, uint32_t> starts = {{lowest, 0}}; // of the classes in the group
    std::vector<uint32_t> waiting = {lowest};
    while (!waiting.empty()) {
        const uint32_t outer = waiting.back();
        waiting.pop_back();
        for (const Part& part : classes[outer].parts) {
            const uint32_t inner = classOf(part.part);
            const uint32_t start = starts[outer] + part.startMs;
            if (!starts.emplace(inner, start).second) continue;
            classes[inner].isPart = true;
            for (const uint32_t id : classes[inner].ids) group.excerpts.push_back({id, start});
            waiting.push_back(inner);
        }
    }
    std::sort(group.excerpts.begin(), group.excerpts.end(),
              [](const Excerpt& a, const Excerpt& b) { return std::tie(a.startMs, a.id) < std::tie(b.startMs, b.id); });
    return group;
}

std::vector<DuplicateGroup> Relations::groups() {
    std::map<uint32_t, Class> all = classes();
    std::vector<uint32_t> order;
    order.reserve(all.size());
    for (const auto& [lowest, its] : all) order.push_back(lowest);
    // Wholes before their parts.
    std::stable_sort(order.begin(), order.end(),
                     [&](uint32_t a, uint32_t b) { return all[a].longestMs > all[b].longestMs; });
    std::vector<DuplicateGroup> groups;
    groups.reserve(order.size());
    for (const uint32_t lowest : order) {
        if (!all[lowest].isPart) groups.push_back(groupOf(lowest, all));
    }
    std::erase_if(groups,
                  [](const DuplicateGroup& group) { return group.copies.size() < 2 && group.excerpts.empty(); });
    std::sort(groups.begin(), groups.end(),
              [](const DuplicateGroup& a, const DuplicateGroup& b) { return a.copies.front() < b.copies.front(); });
    return groups;
}

} // namespace tarn::server
