#include "QVXWebClient/QVXWebClient/QVXWebRequest.h"

#include <gtest/gtest.h>

#include <string>

#include "QVXWebClient/QVXWebClient/QVXWebClient.h"

namespace qvx {

namespace {

using platform::Data;
using platform::Value;

std::shared_ptr<QVXWebRequest> makeRequest() {
    return QVXWebRequest::requestWithMethod("POST", "/path");
}

std::string textPart(const std::string& name, const std::string& text) {
    return "--AaB03x\r\nContent-Disposition: form-data; name=\"" + name +
           "\"\r\nContent-Type: text/plain\r\n\r\n" + text + "\r\n";
}

std::string filePart(const std::string& fileName, const std::string& type, const std::string& bytes) {
    return "--AaB03x\r\nContent-Disposition: form-data; name=\"file\"; filename=\"" + fileName +
           "\"\r\nContent-Type: " + type + "\r\n\r\n" + bytes + "\r\n";
}

TEST(QVXWebRequest, FormDataIsTheMultipartBodyByteForByte) {
    struct Row {
        const char* what;
        void (*fill)(QVXWebRequest&);
        std::string body;
    };
    const std::string bytes("\0\r\n--\xff", 6), binary = "\r\nContent-Transfer-Encoding: binary";
    const Row rows[] = {
        {"file between texts",
         [](QVXWebRequest& request) {
             request.addValueForFormField("", "a[]");
             request.addData(Data::withBytes({"\0\r\n--\xff", 6}), "application/zip", "x.zip", "file");
             request.addValueForFormField("Ä\n", "b");
         },
         textPart("a[]", "") + filePart("x.zip", "application/zip" + binary, bytes) + textPart("b", "Ä\n")},
        {"no MIME type, so no file name",
         [](QVXWebRequest& request) { request.addData(Data(), std::nullopt, "x.zip", "file"); },
         filePart("(null)", "application/octet-stream", "")},
        {"no file name", [](QVXWebRequest& request) { request.addData(Data(), "a/b", std::nullopt, "file"); },
         filePart("(null)", "a/b" + binary, "")},
        {"dictionaries; what is neither text nor data is skipped",
         [](QVXWebRequest& request) {
             request.addValueForFormFromDict({{"z", "1"}, {"n", 2}, {"l", Value::Array{"x"}}});
             request.addValueForFormFromDict({{"a", "3"}}, "p");
             request.addValueForFormField(std::nullopt, "absent");
             request.setFormData({{"f", "4"}});
         },
         textPart("[z]", "1") + textPart("p[a]", "3") + textPart("f", "4")},
        {"nothing that can be sent", [](QVXWebRequest& request) { request.addValueForFormField(1, "n"); },
         ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        const auto request = makeRequest();
        request->addValueForHTTPHeaderField("text/html", "Content-Type");
        row.fill(*request);
        const std::optional<Data> data = request->formData();
        ASSERT_TRUE(data);
        EXPECT_EQ(data->string(), "MIME-Version: 1.0\r\n" + row.body + "--AaB03x--\r\n");
        EXPECT_EQ(request->customHeaders().value("Content-Type"), "multipart/form-data; boundary=AaB03x");
    }
}

TEST(QVXWebRequest, AFilePartSharesTheBytes) {
    const Data file = Data::withBytes(std::string(1000, 'x'));
    const auto request = makeRequest();
    request->addData(file, "a/b", "n", "f");
    const std::optional<Data> body = request->formData();
    ASSERT_TRUE(body);
    ASSERT_EQ(body->segments().size(), 3U);
    EXPECT_EQ(body->segments()[1].bytes.data(), file.segments()[0].bytes.data());
}

TEST(QVXWebRequest, ParametersBecomeTheQueryInTheirOrder) {
    const auto request = makeRequest();
    request->setURL(platform::URL::initWithString("https://h.example/p?old=1"));
    request->setParameters({{"b c", "1&2"}, {"a", "50%/Ä"}});
    const auto url = request->fullURL();
    ASSERT_TRUE(url);
    EXPECT_EQ(url->absoluteString(), "https://h.example/p?old=1?b%20c=1%262&a=50%25%2F%C3%84");
}

TEST(QVXWebRequest, HeadersOfTheRequestWinAndNamesAreExact) {
    const auto request = makeRequest();
    request->addValueForHTTPHeaderField("old", "Accept");
    request->addValueForHTTPHeaderField("mine", "Accept");
    request->addValueForHTTPHeaderField(std::nullopt, "X-Absent");
    request->addHeaders({{"Accept", "default"}, {"accept", "lower"}, {"X-New", "new"}});
    EXPECT_EQ(request->customHeaders(),
              (platform::HeaderFields{{"Accept", "mine"}, {"accept", "lower"}, {"X-New", "new"}}));
    const platform::URLRequest sent = request->URLRequest();
    EXPECT_EQ(sent.HTTPHeaderFields, (platform::HeaderFields{{"Accept", "mine,lower"}, {"X-New", "new"}}));
    EXPECT_EQ(sent.timeoutInterval, 15.0);
    EXPECT_EQ(sent.cachePolicy, platform::CachePolicy::reloadIgnoringLocalCacheData);
}

TEST(QVXWebClientDeathTest, ProgrammingErrorsStopTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::string folder = "QVXWebClient/QVXWebClient/";
    EXPECT_DEATH(QVXWebRequest::requestWithMethod("GET", std::nullopt),
                 folder +
                     "QVXWebRequest:17: \\+\\[QVXWebRequest requestWithMethod:path:\\]: Assertion `path'");
    EXPECT_DEATH(QVXWebRequest::requestWithMethod(std::nullopt, "/"),
                 folder + "QVXWebRequest:36: -\\[QVXWebRequest initWithMethod:\\]: Assertion `method'");
    EXPECT_DEATH(QVXWebClient::encodeJSON(1),
                 folder + "QVXWebClient:58: .* Assertion `0 && \"encodeJSON: isn't implemented yet\"'");
    EXPECT_DEATH(QVXWebClientTransaction::transactionWithRequest(makeRequest())
                     ->syncStartWithCompletionHandler(nullptr),
                 folder + "QVXWebClientTransaction:192: .* Assertion `_completionHandler'");
    EXPECT_DEATH(QVXWebClientTransaction::transactionWithRequest(makeRequest())
                     ->connectionDidFailWithError(std::nullopt),
                 folder + "QVXWebClientTransaction:239: .* Assertion `error'");
}

TEST(QVXWebResponse, SuccessIsA2xxStatusWithoutAnError) {
    QVXWebResponse response;
    for (const auto& [status, success] :
         {std::pair(0, false), {199, false}, {200, true}, {299, true}, {300, false}}) {
        response.setStatusCode(static_cast<uint64_t>(status));
        EXPECT_EQ(response.wasSuccessful(), success) << status;
    }
    response.setStatusCode(200);
    response.setError(QVXWebClientError(QVXWebClientUnexpectedStatus));
    response.setResponseHeaders({{{"A", "b"}}});
    EXPECT_FALSE(response.wasSuccessful());
    EXPECT_EQ(
        response.description(),
        "{request: (null), status: 200, body: (null), error: Error Domain=QVXWebClientErrorDomain Code=-1 "
        "\"The operation couldn’t be completed. (QVXWebClientErrorDomain error -1.)\", "
        "headers: {A = b; }}");
}

} // namespace

} // namespace qvx
