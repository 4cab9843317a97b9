#include "QVXWebClient/QVXWebClient/QVXWebClient.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "platform/process/RunLoop.h"

namespace qvx {

namespace {

using platform::Data;
using platform::Dictionary;
using platform::Value;
using platform::MainRunLoop::stop;
using Response = std::shared_ptr<QVXWebResponse>;

std::shared_ptr<QVXWebClient> makeClient() {
    return QVXWebClient::initWithURL(platform::URL::initWithString("https://api.quorvex.example/base/"));
}

std::shared_ptr<QVXWebRequest> makeRequest(const std::string& path) {
    return QVXWebRequest::requestWithMethod("GET", path);
}

/// Lets `start` have a completion, and runs the loop until that has come.
Response responseOf(const std::function<void(const QVXWebClient::Completion&)>& start) {
    Response result;
    start([&](const Response& response) {
        result = response;
        stop();
    });
    platform::MainRunLoop::run();
    return result;
}

Response send(const std::string& path) {
    return responseOf(
        [&](const auto& completion) { makeClient()->startRequest(makeRequest(path), completion); });
}

std::string codeOf(const QVXWebResponse& response) {
    return response.error() ? response.error()->domain + " " + std::to_string(response.error()->code) : "";
}

TEST(QVXWebClient, AsynchronousRepliesAreDecodedByContentType) {
    const Value answer = Dictionary{{"answer", 42}};
    const struct {
        const char* path;
        std::optional<Value> body;
        uint64_t status = 200;
        const char* error = "";
    } rows[] = {
        {"/json", answer},
        {"/plist", answer},
        {"/both", Value(Value::Array{1})},
        {"/pieces", Value(Dictionary{{"pieces", "0123456789"}})},
        {"/empty", std::nullopt},
        {"/bad-json", std::nullopt},
        {"/bad-plist", std::nullopt, 200, "NSCocoaErrorDomain 3840"},
        {"/break", Value(Data::withBytes("half of it")), 200, "NSURLErrorDomain -1005"},
        {"/unauthorized", Value(Data::withBytes("who?")), 401},
        {"/challenge", std::nullopt, 0, "QVXWebClientErrorDomain -2"},
        {"/a b", std::nullopt, 0, "NSURLErrorDomain -1000"},
        {"https://password.example/", std::nullopt, 0, "QVXWebClientErrorDomain -2"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        const Response response = send(row.path);
        EXPECT_EQ(response->body(), row.body);
        EXPECT_EQ(response->statusCode(), row.status);
        EXPECT_EQ(codeOf(*response), row.error);
    }
}

TEST(QVXWebClient, ExpectedStatusIsCheckedExactlyAndTransportErrorsWin) {
    for (const auto& [path, error] : {std::pair("/status/201", ""),
                                      {"/status/200", "QVXWebClientErrorDomain -1"},
                                      {"/break", "NSURLErrorDomain -1005"}}) {
        const Response response = responseOf([asked = path](const auto& completion) {
            makeClient()->startRequest(makeRequest(asked), 201, completion);
        });
        EXPECT_EQ(codeOf(*response), error) << path;
    }
    makeClient()->syncStartRequest(makeRequest("/status/404"), 200, [](const Response& response) {
        EXPECT_EQ(codeOf(*response), "QVXWebClientErrorDomain -1");
        EXPECT_EQ(response->statusCode(), 404U);
        EXPECT_FALSE(response->wasSuccessful());
        EXPECT_EQ(response->requestURL()->absoluteString(), "https://api.quorvex.example/status/404");
        EXPECT_EQ(response->responseHeaders()->value("content-length"), "0");
    });
    makeClient()->syncStartRequest(makeRequest("/status/200"), 200, nullptr);
}

TEST(QVXWebClient, SynchronousSendsGiveRawDataOnTheCallersThread) {
    const auto client = makeClient();
    client->addValue("run/1", "User-Agent");
    client->addValue("run/2", "User-Agent");
    std::string seen;
    client->syncStartRequest(makeRequest("echo"),
                             [&, thread = std::this_thread::get_id()](const Response& response) {
                                 EXPECT_EQ(std::this_thread::get_id(), thread);
                                 EXPECT_EQ(response->body(), Value(response->responseData()));
                                 EXPECT_TRUE(response->wasSuccessful());
                                 seen += response->responseData().string();
                             });
    EXPECT_NE(seen.find("GET /base/echo HTTP/1.1\\r\\n"), std::string::npos) << seen;
    EXPECT_NE(seen.find("\\r\\nUser-Agent: run/2\\r\\n"), std::string::npos) << seen;
}

TEST(QVXWebClient, WithoutABasePathsAreWholeURLs) {
    const auto client = QVXWebClient::initWithURL(std::nullopt);
    for (const auto& [path, code] :
         {std::pair("https://api.quorvex.example/json", ""), {"/json", "NSURLErrorDomain -1002"}}) {
        const Response response =
            responseOf([&, asked = path](const auto& completion) { client->getPath(asked, completion); });
        EXPECT_EQ(codeOf(*response), code) << path;
    }
}

TEST(QVXWebClient, ATransactionThatWasNeverStartedTakesNoAuthentication) {
    const auto transaction = QVXWebClientTransaction::transactionWithRequest(makeRequest("/"));
    const Response response = responseOf([&](const auto& completion) {
        transaction->setCompletionHandler(completion);
        EXPECT_FALSE(transaction->connectionCanAuthenticateAgainstProtectionSpace({{"host", 443, false}}));
    });
    EXPECT_EQ(codeOf(*response), "QVXWebClientErrorDomain -2");
}

TEST(QVXWebClient, ConvenienceSendsResolveAgainstTheBase) {
    const auto client = makeClient();
    const auto other = platform::URL::initWithString("https://other.example/u");
    std::string seen;
    for (const Response& response :
         {responseOf([&](const auto& completion) { client->getPath("p?q", completion); }),
          responseOf([&](const auto& completion) { client->getURL(*other, completion); }),
          responseOf([&](const auto& completion) {
              client->postFormData({{"k", "v"}, {"n", 1}}, "/form", completion);
          })}) {
        ASSERT_TRUE(response->body() && response->body()->get<Dictionary>());
        for (const char* key : {"method", "host", "path", "fields"})
            seen += response->body()->get<Dictionary>()->find(key)->description() + ' ';
    }
    EXPECT_EQ(seen, "GET api.quorvex.example /base/p?q () GET other.example /u () "
                    "POST api.quorvex.example /form ((k, , v)) ");
}

TEST(QVXWebClient, ManyAtOnceCompleteOnceEachOnWorkersEvenWhenTheClientIsGone) {
    constexpr size_t count = 40;
    std::vector<std::atomic<int>> completions(count);
    std::vector<std::weak_ptr<QVXWebRequest>> requests;
    std::atomic<size_t> open = count;
    const auto mainThread = std::this_thread::get_id();
    for (const auto client = makeClient(); requests.size() < count;) {
        const size_t index = requests.size();
        const auto request = makeRequest(index % 4 == 3 ? "/challenge" : "/pieces");
        requests.push_back(request);
        client->startRequest(request, [&, index](const Response& response) {
            completions[index] += 1;
            EXPECT_NE(std::this_thread::get_id(), mainThread);
            EXPECT_EQ(codeOf(*response), index % 4 == 3 ? "QVXWebClientErrorDomain -2" : "");
            if (--open == 0)
                stop();
        });
    }
    platform::MainRunLoop::run();
    for (size_t index = 0; index < count; ++index) {
        EXPECT_EQ(completions[index], 1);
        // The transactions, and with them the requests, go right behind their completions.
        while (!requests[index].expired())
            std::this_thread::yield();
    }
}

TEST(QVXWebClient, TheRequestsHandlerIsAskedAboutTheServersTrustAndDoesNotReplaceIt) {
    for (const auto& [url, code] : {std::pair("https://api.quorvex.example/json", ""),
                                    {"https://unknown-ca.example/json", "NSURLErrorDomain -1203"}}) {
        std::atomic<int> asked = 0;
        const auto request = makeRequest(url);
        request->setProtectionSpaceHandler([&, expected = code](const platform::ProtectionSpace& space) {
            asked += space.serverTrust ? 1 : 100;
            return *expected != '\0'; // the opposite of what is right
        });
        const Response response =
            responseOf([&](const auto& completion) { makeClient()->startRequest(request, completion); });
        EXPECT_EQ(codeOf(*response), code) << url;
        EXPECT_EQ(asked, 1) << url;
    }
}

TEST(QVXWebClientDeathTest, ExchangesThatRunDoNotDisturbTheEndOfTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            for (const char* path : {"/stall", "/pieces"})
                makeClient()->startRequest(makeRequest(path), [](const Response&) { std::abort(); });
            makeClient()->syncStartRequest(makeRequest("/pieces"), [](const Response&) {});
            std::exit(7);
        },
        testing::ExitedWithCode(7), "");
}

TEST(QVXWebClientDeathTest, ProgrammingErrorsStopTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto transaction = [] { return QVXWebClientTransaction::transactionWithRequest(makeRequest("/")); };
    const std::string folder = "QVXWebClient/QVXWebClient/";
    const std::pair<std::function<void()>, std::string> rows[] = {
        {[] { QVXWebRequest::requestWithMethod("GET", std::nullopt); },
         folder + "QVXWebRequest:17: \\+\\[QVXWebRequest requestWithMethod:path:\\]: Assertion `path'"},
        {[] { QVXWebRequest::requestWithMethod(std::nullopt, "/"); },
         folder + "QVXWebRequest:36: -\\[QVXWebRequest initWithMethod:\\]: Assertion `method'"},
        {[] { QVXWebClient::encodeJSON(1); },
         folder + "QVXWebClient:58: .* Assertion `0 && \"encodeJSON: isn't implemented yet\"'"},
        {[&] { transaction()->syncStartWithCompletionHandler(nullptr); },
         folder + "QVXWebClientTransaction:192: .* Assertion `_completionHandler'"},
        {[&] { transaction()->connectionDidFailWithError(std::nullopt); },
         folder + "QVXWebClientTransaction:239: .* Assertion `error'"},
        {[&] {
             const auto started = transaction();
             started->startWithCompletionHandler([](const Response&) {});
             started->startWithCompletionHandler([](const Response&) {});
             platform::MainRunLoop::run();
         },
         "QVXWebClientTransaction:88: .* Assertion `_connection == nil'"},
        {[] {
             const auto client = makeClient();
             client->syncStartRequest(makeRequest("/a b"),
                                      [&](const Response&) { client->addValue("v", "n"); });
         },
         "queue com.quorvex.rest-client was entered again"}};
    for (const auto& [stops, text] : rows)
        EXPECT_DEATH(stops(), text);
}

} // namespace

} // namespace qvx
