// SPDX-License-Identifier: Apache-2.0
// Whether a JSON value is what a schema of an OpenAPI document says: the words of such schemas that docs/openapi.json
// uses, and no others. Stricter than that standard: a member that the schema does not name is an error.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace kvxtest {

class JsonSchema {
  public:
    // document: with the schemas that others refer to.
    explicit JsonSchema(const nlohmann::json& document) : document_(document) {}

    // What "$ref" refers to, or the value itself.
    const nlohmann::json& resolved(const nlohmann::json& value) const {
        if (!value.contains("$ref")) return value;
        return document_.at(nlohmann::json::json_pointer(value["$ref"].get<std::string>().substr(1)));
    }
    // One line for each fault; empty: it fits.
    std::vector<std::string> faults(const nlohmann::json& value, const nlohmann::json& schema) const {
        std::vector<std::string> found;
        check(value, resolved(schema), "$", found);
        return found;
    }

  private:
    static bool isOfType(const nlohmann::json& value, const std::string& type) {
        if (type == "object") return value.is_object();
        if (type == "array") return value.is_array();
        if (type == "string") return value.is_string();
        return type == "integer" && value.is_number_integer();
    }

    void check(const nlohmann::json& value, const nlohmann::json& schema, const std::string& place,
               std::vector<std::string>& found) const {
        constexpr std::array<const char*, 12> kWords = {"type",     "description", "required", "properties",
                                                        "items",    "minimum",     "maximum",  "minLength",
                                                        "minItems", "maxItems",    "enum",     "default"};
        for (const auto& [word, meaning] : schema.items()) {
            if (std::find(kWords.begin(), kWords.end(), word) == kWords.end())
                found.push_back(place + ": the schema has " + word + ", which is not understood");
        }
        if (!isOfType(value, schema.at("type").get<std::string>())) {
            found.push_back(place + ": no " + schema.at("type").get<std::string>());
            return;
        }
        if (schema.contains("enum") &&
            std::find(schema["enum"].begin(), schema["enum"].end(), value) == schema["enum"].end())
            found.push_back(place + ": another value");
        if (value.is_number_integer()) checkNumber(value, schema, place, found);
        if (value.is_string() && value.get<std::string>().size() < schema.value("minLength", size_t{0}))
            found.push_back(place + ": too short");
        if (value.is_object() && schema.contains("properties")) checkMembers(value, schema, place, found);
        if (value.is_array()) checkItems(value, schema, place, found);
    }

    static void checkNumber(const nlohmann::json& value, const nlohmann::json& schema, const std::string& place,
                            std::vector<std::string>& found) {
        const auto number = value.get<int64_t>();
        if (number < schema.value("minimum", INT64_MIN) || number > schema.value("maximum", INT64_MAX))
            found.push_back(place + ": out of its range");
    }

    void checkMembers(const nlohmann::json& value, const nlohmann::json& schema, const std::string& place,
                      std::vector<std::string>& found) const {
        for (const auto& name : schema.value("required", nlohmann::json::array())) {
            if (!value.contains(name.get<std::string>()))
                found.push_back(place + ": has no " + name.get<std::string>());
        }
        for (const auto& [name, member] : value.items()) {
            if (!schema["properties"].contains(name)) {
                found.push_back(place + ": has " + name + ", which the schema does not name");
            } else {
                check(member, resolved(schema["properties"][name]), place + "." + name, found);
            }
        }
    }

    void checkItems(const nlohmann::json& value, const nlohmann::json& schema, const std::string& place,
                    std::vector<std::string>& found) const {
        if (value.size() < schema.value("minItems", size_t{0}) || value.size() > schema.value("maxItems", SIZE_MAX))
            found.push_back(place + ": too few or too many");
        for (size_t i = 0; i < value.size(); ++i) {
            check(value[i], resolved(schema.at("items")), place + "[" + std::to_string(i) + "]", found);
        }
    }

    const nlohmann::json& document_;
};

} // namespace kvxtest
