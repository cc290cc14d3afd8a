// SPDX-License-Identifier: Apache-2.0
#include "json/parameter_reader.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace tarn::server {

ParameterReader::ParameterReader(const Parameters& parameters, std::initializer_list<std::string_view> known)
    : parameters_(parameters) {
    std::string list;
    for (const std::string_view name : known) list.append(list.empty() ? "" : ", ").append(name);
    for (const auto& [name, value] : parameters) {
        // The name is not quoted: it may be anything.
        if (std::find(known.begin(), known.end(), name) == known.end()) {
            throw BadJsonRequest(400, known.size() == 0 ? "there is a parameter, and none is taken here; leave it out"
                                                        : "there is an unknown parameter; known are: " + list);
        }
    }
    for (const std::string_view name : known) {
        const auto times = std::count_if(parameters.begin(), parameters.end(),
                                         [&](const auto& parameter) { return parameter.first == name; });
        if (times > 1) throw BadJsonRequest(400, "the parameter " + std::string(name) + " comes twice; give it once");
    }
}

const std::string* ParameterReader::text(std::string_view name) const {
    const auto found = std::find_if(parameters_.begin(), parameters_.end(),
                                    [&](const auto& parameter) { return parameter.first == name; });
    return found == parameters_.end() ? nullptr : &found->second;
}

std::optional<uint32_t> ParameterReader::number(std::string_view name, uint32_t least, uint32_t most) const {
    const std::string* written = text(name);
    if (written == nullptr) return std::nullopt;
    uint32_t number = 0;
    const char* const end = written->data() + written->size();
    const auto [stop, error] = std::from_chars(written->data(), end, number);
    if (error != std::errc{} || stop != end || number < least || number > most) {
        throw BadJsonRequest(400, "the parameter " + std::string(name) + " must be a whole number from " +
                                      std::to_string(least) + " to " + std::to_string(most));
    }
    return number;
}

} // namespace tarn::server
