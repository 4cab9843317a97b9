#include "QVXWebClient/QVXWebClient/QVXWebRequest.h"

#include <gtest/gtest.h>

#include <string>

namespace qvx {

using platform::Data;
using platform::Value;

TEST(QVXWebRequest, FormDataIsTheMultipartBodyByteForByte) {
    const std::string part = "--AaB03x\r\nContent-Disposition: form-data; name=";
    const std::string text = "\r\nContent-Type: text/plain\r\n\r\n", bytes("\0\r\n--\xff", 6);
    const Data file = Data::withBytes(bytes);
    const auto request = QVXWebRequest::requestWithMethod("POST", "/path");
    request->addValueForHTTPHeaderField("text/html", "Content-Type");
    request->addValueForFormField("", "a[]");
    request->addData(file, "application/zip", "x.zip", "f");
    request->addValueForFormField("Ä\n", "b");
    request->addData(Data(), std::nullopt, "dropped with the absent type", "f");
    request->addData(Data(), "a/b", std::nullopt, "f");
    request->addValueForFormFromDict({{"z", "1"}, {"skipped", 2}, {"skipped too", Value::Array{"x"}}});
    request->addValueForFormFromDict({{"a", "3"}}, "p");
    request->addValueForFormField(std::nullopt, "absent");
    request->setFormData({{"f", "4"}});
    const std::optional<Data> data = request->formData();
    ASSERT_TRUE(data);
    EXPECT_EQ(data->string(),
              "MIME-Version: 1.0\r\n" + part + "\"a[]\"" + text + "\r\n" + part +
                  "\"f\"; filename=\"x.zip\"\r\nContent-Type: application/zip\r\n"
                  "Content-Transfer-Encoding: binary\r\n\r\n" +
                  bytes + "\r\n" + part + "\"b\"" + text + "Ä\n\r\n" + part +
                  "\"f\"; filename=\"(null)\"\r\nContent-Type: application/octet-stream\r\n\r\n\r\n" + part +
                  "\"f\"; filename=\"(null)\"\r\nContent-Type: a/b\r\n"
                  "Content-Transfer-Encoding: binary\r\n\r\n\r\n" +
                  part + "\"[z]\"" + text + "1\r\n" + part + "\"p[a]\"" + text + "3\r\n" + part + "\"f\"" +
                  text + "4\r\n--AaB03x--\r\n");
    EXPECT_EQ(data->segments()[1].bytes.data(), file.segments()[0].bytes.data()) << "copied";
    EXPECT_EQ(request->customHeaders().value("Content-Type"), "multipart/form-data; boundary=AaB03x");
}

TEST(QVXWebRequest, ParametersBecomeTheQueryInTheirOrder) {
    const auto request = QVXWebRequest::requestWithMethod("POST", "/path");
    request->setURL(platform::URL::initWithString("https://h.example/p?old=1"));
    request->setParameters({{"b c", "1&2"}, {"a", "50%/Ä"}});
    EXPECT_EQ(request->fullURL()->absoluteString(), "https://h.example/p?old=1?b%20c=1%262&a=50%25%2F%C3%84");
}

TEST(QVXWebRequest, HeadersOfTheRequestWinAndNamesAreExact) {
    const auto request = QVXWebRequest::requestWithMethod("POST", "/path");
    request->addValueForHTTPHeaderField("old", "Accept");
    request->addValueForHTTPHeaderField("mine", "Accept");
    request->addValueForHTTPHeaderField(std::nullopt, "X-Absent");
    request->addHeaders({{"Accept", "default"}, {"accept", "lower"}, {"X-New", "new"}});
    EXPECT_EQ(request->customHeaders(),
              (platform::HeaderFields{{"Accept", "mine"}, {"accept", "lower"}, {"X-New", "new"}}));
    const platform::URLRequest sent = request->URLRequest();
    EXPECT_EQ(sent.HTTPHeaderFields, (platform::HeaderFields{{"Accept", "mine,lower"}, {"X-New", "new"}}));
    EXPECT_EQ(sent.timeoutInterval, 15.0);
    request->setMethod("PUT");
    request->setPath("/other");
    EXPECT_EQ(request->URLRequest().HTTPMethod, "PUT");
    EXPECT_EQ(request->path(), "/other");
    EXPECT_EQ(sent.cachePolicy, platform::CachePolicy::reloadIgnoringLocalCacheData);
}

} // namespace qvx
