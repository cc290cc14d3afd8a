// SPDX-License-Identifier: Apache-2.0
// What a scripted server answers, from the lines of a case.
#pragma once

#include "cases/words.h"
#include "support/loopback_server.h"

namespace kvxtest {

// head: the words after "answer"; records: the indented lines below, each the words of a record.
//
//   answer 200           with the records as body    T id=t1 title=Title by=Artist by=Another
//   answer 500 "text"    a status and a body         A id=a1 title=Album by=Artist confidence=87
//   answer file NAME     a golden file as body       D id=d1 title=Film
//   answer raw "bytes"   bytes as they are           K id=a title=Album by=Artist confidence=1
//   answer reset         the connection is reset     N, or Z hex=00: a type with the bytes of its blob
//                                                    cut: the last byte of the body is left out
Script scriptOf(const Words& head, const std::vector<Words>& records);

} // namespace kvxtest
