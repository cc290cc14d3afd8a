// SPDX-License-Identifier: Apache-2.0
// The body and the header fields of a multipart form.
#include "NSMutableURLRequest_MultipartFormRequest.h"
#include "TarnInterface.h"
#include "support/hex.h"

#include <gtest/gtest.h>

namespace kvxtest {
namespace {

using Headers = std::vector<std::pair<std::string, std::string>>;

tarn::NSMutableURLRequest_MultipartFormRequest formOf(const Bytes& data) {
    tarn::NSMutableURLRequest_MultipartFormRequest request(tarn::Url::parse("http://h/sdkrequest"));
    request.addFormData(data, tarn::TarnInterface::getFormBoundary(), tarn::TarnInterface::getFormName());
    return request;
}

TEST(MultipartForm, CarriesTheDataAsItsOneField) {
    const Bytes data = fromHex("00 0d 0a 2d 2d ff 42");
    const auto request = formOf(data);
    const std::string before = "-----------------------------265001916915724\r\n"
                               "Content-Disposition: form-data; name=\"data\"\r\n"
                               "Content-Type: application/octet-stream\r\n"
                               "\r\n";
    const std::string after = "\r\n-----------------------------265001916915724--\r\n";
    Bytes expected = bytesOf(before);
    expected.insert(expected.end(), data.begin(), data.end());
    const Bytes tail = bytesOf(after);
    expected.insert(expected.end(), tail.begin(), tail.end());
    EXPECT_EQ(hexDump(request.body), hexDump(expected));
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.headers,
              (Headers{{"Content-Type", "multipart/form-data; boundary=---------------------------265001916915724"},
                       {"Content-Length", std::to_string(expected.size())}}));
}

TEST(MultipartForm, WithoutDataIsItsFramingAlone) {
    const auto request = formOf({});
    // 46 + 45 + 42 bytes before the data, 50 after it.
    EXPECT_EQ(request.body.size(), 183U);
    EXPECT_EQ(request.headers.at(1).second, "183");
}

TEST(MultipartForm, TakesAnyBoundaryAndName) {
    tarn::NSMutableURLRequest_MultipartFormRequest request(std::nullopt);
    request.addFormData(bytesOf("--B--"), "B", "N");
    EXPECT_EQ(std::string(request.body.begin(), request.body.end()),
              "--B\r\nContent-Disposition: form-data; name=\"N\"\r\nContent-Type: application/octet-stream\r\n\r\n"
              "--B--\r\n--B--\r\n");
}

TEST(MultipartForm, DoesNotLookForItsBoundaryInTheData) {
    const std::string boundary = tarn::TarnInterface::getFormBoundary();
    const std::string data = "\r\n--" + boundary + "--\r\n";
    const auto request = formOf(bytesOf(data));
    const std::string body(request.body.begin(), request.body.end());
    EXPECT_EQ(body.substr(133), data + "\r\n--" + boundary + "--\r\n"); // unchanged, after 46 + 45 + 42 bytes
    EXPECT_EQ(request.headers.at(0).second, "multipart/form-data; boundary=" + boundary);
}

TEST(MultipartForm, ReplacesTheOneBefore) {
    auto request = formOf(Bytes(100));
    request.addFormData({}, "B", "N");
    EXPECT_EQ(request.headers, (Headers{{"Content-Type", "multipart/form-data; boundary=B"},
                                        {"Content-Length", std::to_string(request.body.size())}}));
}

TEST(Boundary, IsTwentySevenHyphensAndFifteenDigits) {
    EXPECT_EQ(std::string(tarn::TarnInterface::getFormBoundary()), std::string(27, '-') + "265001916915724");
}

} // namespace
} // namespace kvxtest
