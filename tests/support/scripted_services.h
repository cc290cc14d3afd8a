// SPDX-License-Identifier: Apache-2.0
// Services for tests: they keep what they are told and say what a test wants to hear.
#pragma once

#include "platform/linux/nettle_cipher.h"
#include "platform/services.h"
#include "support/hex.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace kvxtest {

inline std::string joinedText(const tarn::TextPieces& pieces) {
    std::string text;
    for (const std::string_view piece : pieces) text += piece;
    return text;
}

struct KeptLog : tarn::Log {
    std::vector<std::string> entries;
    void write(const tarn::TextPieces& text) override { entries.push_back(joinedText(text)); }
};

struct KeptOutput : tarn::TextOutput {
    std::vector<std::string> writes;
    int failure = 0;
    void write(const tarn::TextPieces& text) override { writes.push_back(joinedText(text)); }
    int error() const override { return failure; }
    std::string all() const {
        std::string text;
        for (const auto& piece : writes) text += piece;
        return text;
    }
};

struct FixedClock : tarn::Clock {
    std::chrono::milliseconds sinceEpoch = std::chrono::seconds(1'800'000'000);
    Time now() const override { return Time(sinceEpoch); }
    int64_t seconds() const { return std::chrono::floor<std::chrono::seconds>(sinceEpoch).count(); }
};

// An interface as the list gives it; a null entry, or one that throws, is said by name.
struct ScriptedInterface {
    enum class Kind { kOrdinary, kNull, kThrows };
    std::optional<std::string> name;
    std::optional<std::string> address;
    Kind kind = Kind::kOrdinary;
};

class ScriptedInterfaces : public tarn::NetworkInterfaces {
  public:
    std::vector<ScriptedInterface> list = {{"Built-in Ethernet", "02:fc:00:00:00:01"}};
    int live = 0; // interfaces handed out and not yet released

    tarn::NetworkInterfaceList copyAll() override {
        tarn::NetworkInterfaceList copies;
        for (const auto& entry : list) {
            const bool isNull = entry.kind == ScriptedInterface::Kind::kNull;
            copies.push_back(isNull ? nullptr : std::make_unique<Copy>(entry, live));
        }
        return copies;
    }

  private:
    struct Copy : tarn::NetworkInterface {
        Copy(ScriptedInterface scripted, int& counter) : entry(std::move(scripted)), count(counter) { ++count; }
        ~Copy() override { --count; }
        Copy(const Copy&) = delete;
        Copy& operator=(const Copy&) = delete;
        std::optional<std::string> localizedDisplayName() const override {
            if (entry.kind == ScriptedInterface::Kind::kThrows) throw std::runtime_error("no name");
            return entry.name;
        }
        std::optional<std::string> hardwareAddressString() const override { return entry.address; }
        ScriptedInterface entry;
        int& count;
    };
};

// One answer of a scripted loader.
struct LoaderAnswer {
    std::optional<tarn::Bytes> body;
    std::optional<int> status;
    std::optional<tarn::Error> error;
    bool isOutOfMemory = false; // there is no answer: the loader throws
};

struct ScriptedLoader : tarn::URLLoading {
    std::vector<LoaderAnswer> answers; // in turn; asking for more is a fault of the test
    std::vector<tarn::MutableURLRequest> requests;

    std::optional<tarn::Bytes> sendSynchronousRequest(const tarn::MutableURLRequest& request,
                                                      std::optional<tarn::HTTPURLResponse>& response,
                                                      tarn::ErrorSlot& error) override {
        requests.push_back(request);
        const LoaderAnswer& answer = answers.at(requests.size() - 1);
        if (answer.isOutOfMemory) throw std::bad_alloc();
        if (answer.status) response = tarn::HTTPURLResponse{*answer.status};
        if (answer.error) error = answer.error;
        return answer.body;
    }
};

// The real cipher, unless it is to fail.
struct FailableCipher : tarn::CipherService {
    std::optional<int32_t> failure;
    int32_t crypt(tarn::CipherOperation operation, std::span<const uint8_t> key, const uint8_t* input,
                  size_t inputLength, std::span<uint8_t> output, size_t& outputLength) override {
        outputLength = 0;
        if (failure) return *failure;
        return cipher.crypt(operation, key, input, inputLength, output, outputLength);
    }
    tarn::NettleCipher cipher;
};

struct ScriptedServices {
    KeptLog log;
    KeptOutput output;
    FixedClock clock;
    FailableCipher cipher;
    ScriptedInterfaces interfaces;
    ScriptedLoader loader;
    tarn::Services services{log, output, clock, cipher, interfaces, loader};
};

} // namespace kvxtest
