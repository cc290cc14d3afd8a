// SPDX-License-Identifier: Apache-2.0
// A network that fails at any moment: connections reset, closed or stalled at every byte of an answer. Whatever
// happens, the run ends with a status and a line that say so, and the report is whole or absent. An answer that frames
// itself by its length meets every fault in the built tool; the other framings, in a run in this process.
#include "NSMutableURLRequest_MultipartFormRequest.h"
#include "e2e/faulty_exchange.h"
#include "e2e/tool.h"
#include "platform/linux/http_client.h"
#include "support/answers.h"
#include "support/clients.h"
#include "support/fault_proxy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iostream>
#include <map>

namespace kvxtest {

using namespace faulty_exchange;

namespace {

const std::string kLost = "-1005 - The network connection was lost.";
const std::string kNotConnected = "-1004 - Could not connect to the server.";

Outcome whole() { return {0, kWholeReport, "Response 1: Confidence: 97", 2}; }
Outcome silentlyWithoutAlbum() { return {0, kReportWithoutAlbum, "Response 1: Artist: The Paper Lanterns", 2}; }
Outcome withoutAnswer() { return {0, "", "", 1}; }
Outcome unparsed() { return {250, "", "Error parsing fingerprint response 200 - Cannot parse server response", 1}; }

constexpr Exchange kExchanges[] = {Exchange::kFingerprint, Exchange::kAlbum};
constexpr Framing kFramings[] = {Framing::kLength, Framing::kChunks, Framing::kEndOfConnection};

const char* nameOf(Framing framing) {
    return framing == Framing::kLength ? "length" : framing == Framing::kChunks ? "chunks" : "end of connection";
}

// A run through the proxy; the fault is met by one of the exchanges.
template <class Run>
Outcome runWith(Run run, const Fault& fault, Exchange exchange, Framing framing) {
    const LoopbackServer server(
        {answering(answerOf(Exchange::kFingerprint, framing)), answering(answerOf(Exchange::kAlbum, framing))});
    std::vector<Fault> faults(exchange == Exchange::kAlbum ? 1 : 0);
    faults.push_back(fault);
    const FaultProxy proxy(server.port(), faults);
    Outcome outcome = run(proxy.host());
    outcome.connections = proxy.connections();
    return outcome;
}

// Counts what became of a sweep's runs.
class Tally {
  public:
    explicit Tally(std::string name) : name_(std::move(name)) {}
    ~Tally() {
        std::cout << name_ << "\n";
        for (const auto& [outcome, count] : counts_) std::cout << "  " << count << " x " << outcome << "\n";
    }
    Tally(const Tally&) = delete;
    Tally& operator=(const Tally&) = delete;
    void count(const Outcome& outcome) { ++counts_[show(outcome)]; }

  private:
    std::string name_;
    std::map<std::string, int> counts_;
};

// What must come of an answer of which so many bytes arrive before the connection ends.
Outcome expectedOfCut(Exchange exchange, Framing framing, bool isReset, size_t position) {
    const std::string answer = answerOf(exchange, framing);
    if (framing != Framing::kEndOfConnection) return position == answer.size() ? whole() : failed(exchange, kLost);
    // A reset is no end. A close after the head is, so the records are all that tells whether the answer is whole.
    const size_t head = headEnd(answer);
    if (isReset || position < head) return failed(exchange, kLost);
    if (position == answer.size()) return whole();
    if (exchange == Exchange::kFingerprint) return position == head ? withoutAnswer() : unparsed();
    if (position > head) return silentlyWithoutAlbum();
    return {0, kReportWithoutAlbum, "Empty Metadata Response", 2};
}

template <class Run>
void cutAtEveryByte(Run run, Framing framing, Fault::Kind kind) {
    const bool isReset = kind == Fault::Kind::kResetAnswer;
    for (const Exchange exchange : kExchanges) {
        const size_t size = answerOf(exchange, framing).size();
        Tally tally(std::string(isReset ? "reset" : "closed") + " inside the " +
                    (exchange == Exchange::kFingerprint ? "first" : "album") + " answer, framed by " + nameOf(framing) +
                    ": " + std::to_string(size + 1) + " positions");
        for (size_t position = 0; position <= size; ++position) {
            const Outcome outcome = runWith(run, {kind, position}, exchange, framing);
            tally.count(outcome);
            ASSERT_EQ(outcome, expectedOfCut(exchange, framing, isReset, position)) << "after byte " << position;
        }
    }
}

TEST(NetworkFault, NoneGivesTheWholeReport) {
    for (const Framing framing : kFramings) {
        SCOPED_TRACE(nameOf(framing));
        EXPECT_EQ(runWith(runOfTool, {}, Exchange::kFingerprint, framing), whole());
    }
}

TEST(NetworkFault, AResetInsideAnAnswerLosesThatAnswerAlone) {
    cutAtEveryByte(runOfTool, Framing::kLength, Fault::Kind::kResetAnswer);
}

TEST(NetworkFault, ACloseInsideAnAnswerLosesThatAnswerAlone) {
    cutAtEveryByte(runOfTool, Framing::kLength, Fault::Kind::kCloseAnswer);
}

TEST(NetworkFault, ACutInsideChunksLosesThatAnswerAlone) {
    cutAtEveryByte([](const std::string& host) { return runInProcess(host); }, Framing::kChunks,
                   Fault::Kind::kCloseAnswer);
}

TEST(NetworkFault, ACutAnswerWithoutALengthIsFoundOutByItsRecords) {
    for (const auto kind : {Fault::Kind::kResetAnswer, Fault::Kind::kCloseAnswer}) {
        cutAtEveryByte([](const std::string& host) { return runInProcess(host); }, Framing::kEndOfConnection, kind);
    }
}

TEST(NetworkFault, AnAnswerThatStallsAndGoesOnIsTaken) {
    for (const Exchange exchange : kExchanges) {
        for (const Framing framing : kFramings) {
            const std::string answer = answerOf(exchange, framing);
            const size_t head = headEnd(answer);
            const size_t size = answer.size();
            for (const size_t position :
                 {size_t{0}, size_t{1}, head - 1, head, head + 1, (head + size) / 2, size - 1}) {
                EXPECT_EQ(runWith(runOfTool, {Fault::Kind::kStallAnswer, position}, exchange, framing), whole())
                    << nameOf(framing) << ", after byte " << position;
            }
        }
    }
}

TEST(NetworkFault, AnAnswerInSingleBytesIsTaken) {
    for (const Exchange exchange : kExchanges) {
        for (const Framing framing : kFramings) {
            EXPECT_EQ(runWith(runOfTool, {Fault::Kind::kSingleBytes}, exchange, framing), whole()) << nameOf(framing);
        }
    }
}

TEST(NetworkFault, AnAnswerThatComesTwiceCountsOnceWhereItsEndIsKnown) {
    for (const Exchange exchange : kExchanges) {
        for (const Framing framing : {Framing::kLength, Framing::kChunks}) {
            EXPECT_EQ(runWith(runOfTool, {Fault::Kind::kTwice}, exchange, framing), whole()) << nameOf(framing);
        }
        // Without a known end the second answer's head lies among the records.
        EXPECT_EQ(runWith(runOfTool, {Fault::Kind::kTwice}, exchange, Framing::kEndOfConnection),
                  exchange == Exchange::kFingerprint ? unparsed() : silentlyWithoutAlbum());
    }
}

// The client's system takes a request this short in one piece: the tool can tell few positions apart. These lie ahead
// of it, in its head, in the form and in the packet.
TEST(NetworkFault, AConnectionThatEndsInsideTheRequestFailsTheExchange) {
    for (const auto kind : {Fault::Kind::kCloseRequest, Fault::Kind::kResetRequest}) {
        for (const Exchange exchange : kExchanges) {
            Tally tally(std::string(kind == Fault::Kind::kResetRequest ? "reset" : "closed") + " inside the " +
                        (exchange == Exchange::kFingerprint ? "first" : "album") + " request");
            for (const size_t position : {size_t{0}, size_t{1}, size_t{60}, size_t{300}, size_t{400}}) {
                const Outcome outcome = runWith(runOfTool, {kind, position}, exchange, Framing::kLength);
                tally.count(outcome);
                // A reset that comes at once may be met while still connecting.
                EXPECT_THAT(outcome, testing::AnyOf(failed(exchange, kLost), failed(exchange, kNotConnected)))
                    << "after byte " << position;
                if (position != 0 || kind == Fault::Kind::kCloseRequest) {
                    EXPECT_EQ(outcome, failed(exchange, kLost)) << "after byte " << position;
                }
            }
        }
    }
}

// A request that fills every buffer on its way is still being sent when the connection ends.
TEST(NetworkFault, AConnectionThatEndsInsideALongUploadIsLost) {
    constexpr size_t kLength = 8'000'000;
    for (const auto kind : {Fault::Kind::kCloseRequest, Fault::Kind::kResetRequest}) {
        for (const size_t position : {size_t{1}, size_t{100'000}, kLength / 2, kLength}) {
            const LoopbackServer server({});
            const FaultProxy proxy(server.port(), {{kind, position}});
            tarn::NSMutableURLRequest_MultipartFormRequest request(tarn::Url::parse("http://" + proxy.host() + "/x"));
            request.addFormData(Bytes(kLength, 7), "B", "data");
            std::optional<tarn::HTTPURLResponse> response;
            tarn::ErrorSlot error;
            EXPECT_FALSE(tarn::HttpClient(kPatience).sendSynchronousRequest(request, response, error));
            EXPECT_FALSE(response);
            EXPECT_EQ(error ? error->code : 0, tarn::kUrlErrorConnectionLost) << "after byte " << position;
        }
    }
}

} // namespace
} // namespace kvxtest
