// SPDX-License-Identifier: Apache-2.0
// The choice of the interface that identifies the device, and the opening of the session.
#include "support/answers.h"
#include "support/clients.h"
#include "support/counting_hooks.h"

#include <gtest/gtest.h>

namespace kvxtest {
namespace {

TEST(DeviceIdentity, IsTheAddressOfTheMostPreferredInterface) {
    using List = std::vector<ScriptedInterface>;
    constexpr auto kNone = std::nullopt;
    struct Case {
        const char* name;
        List list;
        std::optional<std::string> identity;
    };
    const Case cases[] = {
        {"no interface", {}, kNone},
        {"none of a preferred name", {{"Virtual Link", "1"}, {"Bluetooth PAN", "2"}}, kNone},
        {"built-in before plain", {{"Ethernet", "1"}, {"Built-in Ethernet", "2"}}, "2"},
        {"built-in is not filed under plain", {{"Built-in Ethernet", "1"}, {"Ethernet", "2"}}, "1"},
        {"plain before wireless", {{"Wi-Fi", "1"}, {"AirPort", "2"}, {"Ethernet", "3"}}, "3"},
        {"AirPort before Wi-Fi", {{"Wi-Fi", "1"}, {"AirPort", "2"}}, "2"},
        {"anywhere in the name", {{"Thunderbolt Ethernet Slot 2", "1"}}, "1"},
        {"without regard to case", {{"my WI-FI card", "1"}}, "1"},
        {"one without a name is skipped", {{"Wi-Fi", "1"}, {kNone, "2"}}, "1"},
        {"one without an address is skipped", {{"Wi-Fi", "1"}, {"Ethernet", kNone}}, "1"},
        {"two preferred names in one: the first in preference", {{"AirPort Wi-Fi", "1"}, {"AirPort", "2"}}, "2"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedServices scripted;
        scripted.interfaces.list = c.list;
        const Client session(scripted);
        EXPECT_EQ(describe(session.error), "no error"); // also without an identity
        EXPECT_EQ(session.client.deviceId(), c.identity);
        EXPECT_EQ(scripted.interfaces.live, 0);
    }
}

TEST(DeviceIdentity, IsTheLastOfSeveralInterfacesOfAName) {
    ScriptedServices scripted;
    scripted.interfaces.list = {{"Wi-Fi 1", "1"}, {"Wi-Fi 2", "2"}, {"Wi-Fi 3", "3"}, {"Bluetooth", "4"}};
    const Client session(scripted);
    EXPECT_EQ(session.client.deviceId(), "3");
}

// The 16 bytes of identity in the header of a request.
std::string identityInRequests(const std::string& address) {
    ScriptedServices scripted;
    scripted.interfaces.list = {{"Ethernet", address}};
    Client session(scripted);
    tarn::ErrorSlot error;
    const auto request = session.client.createAlbumLookupRequest("t", 1, error);
    if (!request) return describe(error);
    return {request->begin() + 10, request->begin() + 26};
}

TEST(DeviceIdentity, LosesTheLastDigitOfItsAddressInRequests) {
    EXPECT_EQ(identityInRequests("02:fc:00:00:00:1d"), "02:fc:00:00:00:1");
    EXPECT_EQ(identityInRequests("02:fc"), std::string("02:fc").append(11, '\0'));
}

TEST(DeviceIdentity, ThatIsNotAsciiIsNone) {
    EXPECT_EQ(identityInRequests("02:fc:\xc3\xa4"), "TARN 200 Cannot generate meta data request for track t");
}

TEST(DeviceIdentity, ThatIsPresentAndEmptyIsOneOfZeros) { EXPECT_EQ(identityInRequests(""), std::string(16, '\0')); }

TEST(DeviceIdentity, HasALengthOfSixteenBits) {
    EXPECT_EQ(identityInRequests(std::string(65536 + 3, 'x')), std::string("xxx").append(13, '\0'));
}

TEST(DeviceIdentity, ANullInterfaceEndsTheProgram) {
    ScriptedServices scripted;
    scripted.interfaces.list.push_back({{}, {}, ScriptedInterface::Kind::kNull});
    EXPECT_DEATH({ const Client session(scripted); }, "thisInterface != NULL");
}

TEST(DeviceIdentity, AnExceptionReleasesTheListAndIsPassedOn) {
    ScriptedServices scripted;
    scripted.interfaces.list.push_back({{}, {}, ScriptedInterface::Kind::kThrows});
    EXPECT_THROW({ const Client session(scripted); }, std::runtime_error);
    EXPECT_EQ(scripted.interfaces.live, 0);
}

TEST(Session, KeepsWhatItWasGivenButTheUser) {
    ScriptedServices scripted;
    const Client session(scripted, goodKey(scripted.clock), "recog.example:8080");
    EXPECT_EQ(session.client.userId(), ""); // "QOPX" was passed
    EXPECT_EQ(session.client.host(), "recog.example:8080");
    EXPECT_EQ(session.client.nFingerprints(), 3);
    EXPECT_EQ(session.client.deviceId(), "02:fc:00:00:00:01");
    ASSERT_TRUE(session.client.getRequestURL());
    EXPECT_EQ(session.client.getRequestURL()->text, "http://recog.example:8080/sdkrequest");
}

// What requests begin with that the library frames as HTTP: the host that it was given.
std::string hostInRequests(const std::string& host) {
    ScriptedServices scripted;
    Client session(scripted, goodKey(scripted.clock), host, true);
    tarn::ErrorSlot error;
    const auto request = session.client.createAlbumLookupRequest("t", 1, error);
    if (!request) return describe(error);
    const std::string text(request->begin(), request->end());
    const std::string before = "POST http://";
    const std::string after = "/sdkrequest HTTP/1.1\r\n";
    EXPECT_EQ(text.substr(0, before.size()), before);
    return text.substr(before.size(), text.find(after) - before.size());
}

TEST(Session, GivesTheLibraryItsHost) { EXPECT_EQ(hostInRequests("recog.example:8080"), "recog.example:8080"); }

TEST(Session, CutsTheLengthOfItsHostToSixteenBits) {
    EXPECT_EQ(hostInRequests(std::string(65535, 'x')), std::string(65535, 'x'));
    EXPECT_EQ(hostInRequests("abc" + std::string(65536, 'x')), "abc");
    EXPECT_EQ(hostInRequests(std::string(65536, 'x')), "tarn.kvx.example"); // a length of 0 selects the default
}

TEST(Session, HasTheDefaultHostForOneThatIsNotAscii) { EXPECT_EQ(hostInRequests("h\xc3\xb6st"), "tarn.kvx.example"); }

TEST(Session, WantsAnswersFramedAsItsRequestsAre) {
    for (const bool doHttp : {false, true}) {
        SCOPED_TRACE(doHttp);
        ScriptedServices scripted;
        Client session(scripted, goodKey(scripted.clock), "h", doHttp);
        tarn::ErrorSlot error;
        const auto request = session.client.createAlbumLookupRequest("t", 1, error);
        ASSERT_TRUE(request);
        const std::string text(request->begin(), request->end());
        const size_t packet = text.find("BIN ");
        EXPECT_EQ(packet == 0, !doHttp);
        EXPECT_EQ(text.at(packet + 46), doHttp ? 'H' : 'B'); // what the server is told

        const Bytes bare = notFound();
        EXPECT_EQ(session.client.parseResponse(bare, error).has_value(), !doHttp);
        const Bytes framed = bytesOf(httpAnswer(200, bare));
        EXPECT_EQ(session.client.parseResponse(framed, error).has_value(), doHttp);
    }
}

TEST(Session, StaysOpenWhenItsClientIsDestroyed) {
    ScriptedServices scripted;
    const std::string key = goodKey(scripted.clock);
    CountingHooks hooks;
    {
        tarn::ErrorSlot error;
        const tarn::TarnInterface client(scripted.services, key, "QOPX", "h", 3, false, error);
        EXPECT_EQ(describe(error), "no error");
        EXPECT_EQ(hooks.live(), 4U); // handle, host, cipher, digest
    }
    EXPECT_EQ(hooks.live(), 4U);
}

TEST(Session, OpensWithAGoodKeyAndFailsWithAnyOther) {
    const FixedClock clock;
    const std::string now = std::to_string(clock.seconds());
    const std::string code = accessCode(3, 3);
    const auto aged = [&](int64_t seconds) {
        return accessKeyOf(std::to_string(clock.seconds() - seconds) + ":" + code);
    };
    const std::string good = accessKeyOf(now + ":" + code);
    std::string lowered = good;
    for (char& c : lowered) c = static_cast<char>(std::tolower(c));
    struct Case {
        const char* name;
        std::string key;
        const char* error;
    };
    const Case cases[] = {
        {"good", good, "no error"},
        {"lower case", lowered, "no error"},
        {"an odd character more", good + "7", "no error"},
        {"29 seconds old", aged(29), "no error"},
        {"30 seconds old", aged(30), "TARN 100 Key Not Valid"},
        {"bare code", accessKeyOf(code), "no error"},
        {"79 characters", accessKeyOf(code.substr(1)), "TARN 100 Key Not Correct Length 79"},
        {"79 characters after the colon", accessKeyOf(now + ":" + code.substr(0, 79)), "no error"},
        {"empty", "", "TARN 100 Key Not Correct Format -4304"},
        {"one character", "5", "TARN 100 Key Not Correct Format -4304"},
        {"half a block", good.substr(0, 16), "TARN 100 Key Not Correct Format -4303"},
        {"30 characters too few", good.substr(30), "TARN 100 Key Not Correct Format -4303"},
        {"300 characters, cut to 106 bytes", std::string(300, 'A'), "TARN 100 Key Not Correct Format -4303"},
        {"another cipher key", upperHex(aesEncrypt(Bytes(32, 9), padded(now + ":" + code))),
         "TARN 100 Key Not Correct Format -4304"},
        {"unknown encryption method", accessKeyOf(now + ":" + accessCode(4, 3)), "TARN 100 Cannot Init Handle"},
        {"unknown checksum method", accessKeyOf(now + ":" + accessCode(3, 0)), "TARN 100 Cannot Init Handle"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedServices scripted;
        const Client session(scripted, c.key);
        EXPECT_EQ(describe(session.error), c.error);
        EXPECT_TRUE(scripted.log.entries.empty());
    }
}

TEST(Session, ShowsTheCiphersOwnStatus) {
    ScriptedServices scripted;
    scripted.cipher.failure = -4300;
    const Client session(scripted);
    EXPECT_EQ(describe(session.error), "TARN 100 Key Not Correct Format -4300");
}

TEST(Encoding, GivesTheKeyThatTheSessionTakes) {
    ScriptedServices scripted;
    const std::string raw = std::to_string(scripted.clock.seconds()) + ":" + accessCode(3, 3);
    const std::string key = tarn::TarnInterface::encodeSak(raw, scripted.services);
    EXPECT_EQ(key, accessKeyOf(raw));
    EXPECT_EQ(key.size(), 192U);
    EXPECT_EQ(scripted.log.entries, std::vector<std::string>{"RESULT CODE 0"});
    const Client session(scripted, key);
    EXPECT_EQ(describe(session.error), "no error");
}

TEST(Encoding, LogsTheStatusAndGivesAnEmptyKeyWhenItFails) {
    struct Case {
        const char* name;
        std::string raw;
        const char* entry;
        size_t keyLength;
    };
    const Case cases[] = {
        {"empty", "", "RESULT CODE 0", 32},
        {"95 bytes", std::string(95, 'a'), "RESULT CODE 0", 192},
        {"96 bytes", std::string(96, 'a'), "RESULT CODE -4301", 0},
        {"not ASCII", "\xc3\xa4", "RESULT CODE -4300", 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedServices scripted;
        EXPECT_EQ(tarn::TarnInterface::encodeSak(c.raw, scripted.services).size(), c.keyLength);
        EXPECT_EQ(scripted.log.entries, std::vector<std::string>{c.entry});
    }
}

} // namespace
} // namespace kvxtest
