// SPDX-License-Identifier: Apache-2.0
#include "protocol/request_report.h"

#include <iterator>

namespace tarn::server {

namespace {

struct OutcomeRow {
    RequestOutcome outcome;
    const char* name;
    int httpStatus;
};
constexpr OutcomeRow kOutcomes[] = {
    {RequestOutcome::kMatched, "matched", 200},         {RequestOutcome::kNotFound, "not_found", 200},
    {RequestOutcome::kBadPacket, "bad_packet", 400},    {RequestOutcome::kBadRequest, "bad_request", 400},
    {RequestOutcome::kRefused, "refused", 403},         {RequestOutcome::kTooLarge, "too_large", 413},
    {RequestOutcome::kFailed, "failed", 500},           {RequestOutcome::kOverload, "overload", 503},
    {RequestOutcome::kUnavailable, "unavailable", 503},
};

struct KindRow {
    RequestKind kind;
    const char* name;
};
constexpr KindRow kKinds[] = {
    {RequestKind::kUnknown, "unknown"},
    {RequestKind::kFingerprint, "fingerprint"},
    {RequestKind::kIdentity, "identity"},
    {RequestKind::kItems, "items"},
    {RequestKind::kJsonRecognise, "json_recognise"},
    {RequestKind::kJsonBrowse, "json_browse"},
};

// Row i is of the i-th value, so that a value finds its row.
constexpr bool outcomesAreInOrder() {
    for (size_t i = 0; i < std::size(kOutcomes); ++i) {
        if (static_cast<size_t>(kOutcomes[i].outcome) != i) return false;
    }
    return std::size(kOutcomes) == kRequestOutcomes;
}
static_assert(outcomesAreInOrder());

constexpr bool kindsAreInOrder() {
    for (size_t i = 0; i < std::size(kKinds); ++i) {
        if (static_cast<size_t>(kKinds[i].kind) != i) return false;
    }
    return std::size(kKinds) == kRequestKinds;
}
static_assert(kindsAreInOrder());

} // namespace

const char* outcomeName(RequestOutcome outcome) { return kOutcomes[static_cast<size_t>(outcome)].name; }
int httpStatus(RequestOutcome outcome) { return kOutcomes[static_cast<size_t>(outcome)].httpStatus; }
const char* kindName(RequestKind kind) { return kKinds[static_cast<size_t>(kind)].name; }

} // namespace tarn::server
