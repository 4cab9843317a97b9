#include "QVXWebClient/QVXWebClient/QVXWebClient.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
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

std::shared_ptr<QVXWebRequest> makeRequest(const std::string& path, const char* method = "GET") {
    return QVXWebRequest::requestWithMethod(method, path);
}

/// Sends asynchronously and runs the loop until the completion has come.
Response send(const std::string& path, std::optional<uint64_t> expected = std::nullopt) {
    Response result;
    const QVXWebClient::Completion completion = [&](const Response& response) {
        result = response;
        stop();
    };
    const auto client = makeClient();
    if (expected)
        client->startRequest(makeRequest(path), *expected, completion);
    else
        client->startRequest(makeRequest(path), completion);
    platform::MainRunLoop::run();
    return result;
}

std::string codeOf(const QVXWebResponse& response) {
    return response.error() ? response.error()->domain + " " + std::to_string(response.error()->code) : "";
}

TEST(QVXWebClient, AsynchronousRepliesAreDecodedByContentType) {
    const Value answer = Dictionary{{"answer", 42}};
    struct Row {
        const char* path;
        std::optional<Value> body;
        uint64_t status = 200;
        const char* error = "";
    };
    const Row rows[] = {
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
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.path);
        const Response response = send(row.path);
        EXPECT_EQ(response->body(), row.body);
        EXPECT_EQ(response->statusCode(), row.status);
        EXPECT_EQ(codeOf(*response), row.error);
    }
}

TEST(QVXWebClient, ExpectedStatusIsCheckedExactlyAndTransportErrorsWin) {
    EXPECT_EQ(codeOf(*send("/status/201", 201)), "");
    EXPECT_EQ(codeOf(*send("/status/200", 201)), "QVXWebClientErrorDomain -1");
    EXPECT_EQ(codeOf(*send("/break", 201)), "NSURLErrorDomain -1005");
    makeClient()->syncStartRequest(makeRequest("/status/404"), 200, [](const Response& response) {
        EXPECT_EQ(codeOf(*response), "QVXWebClientErrorDomain -1");
        EXPECT_EQ(response->statusCode(), 404U);
    });
}

TEST(QVXWebClient, SynchronousSendsGiveRawDataOnTheCallersThread) {
    const auto client = makeClient();
    client->addValue("run/1", "User-Agent");
    client->addValue("run/2", "User-Agent");
    int calls = 0;
    client->syncStartRequest(makeRequest("/json"),
                             [&, thread = std::this_thread::get_id()](const Response& response) {
                                 calls += 1;
                                 EXPECT_EQ(std::this_thread::get_id(), thread);
                                 EXPECT_EQ(response->body(), Value(Data::withBytes(R"({"answer": 42})")));
                                 EXPECT_TRUE(response->wasSuccessful());
                             });
    client->syncStartRequest(makeRequest("echo"), [&](const Response& response) {
        calls += 1;
        const std::string seen = response->responseData().string();
        EXPECT_NE(seen.find("GET /base/echo HTTP/1.1\\r\\n"), std::string::npos) << seen;
        EXPECT_NE(seen.find("\\r\\nUser-Agent: run/2\\r\\n"), std::string::npos) << seen;
    });
    EXPECT_EQ(calls, 2);
}

TEST(QVXWebClient, ConvenienceSendsResolveAgainstTheBase) {
    const auto client = makeClient();
    std::vector<std::string> seen;
    const QVXWebClient::Completion completion = [&](const Response& response) {
        const Dictionary* echo = response->body() ? response->body()->get<Dictionary>() : nullptr;
        seen.push_back(echo ? echo->string("method").value_or("") + echo->string("host").value_or("") +
                                  echo->string("path").value_or("") + echo->find("fields")->description()
                            : codeOf(*response));
        stop();
    };
    for (const char* path : {"p?q", "/top", "a b"}) {
        client->getPath(path, completion);
        platform::MainRunLoop::run();
    }
    client->getURL(*platform::URL::initWithString("https://other.example/u"), completion);
    platform::MainRunLoop::run();
    client->postFormData({{"k", "v"}, {"n", 1}}, "form", completion);
    platform::MainRunLoop::run();
    EXPECT_EQ(seen,
              (std::vector<std::string>{"GETapi.quorvex.example/base/p?q()", "GETapi.quorvex.example/top()",
                                        "NSURLErrorDomain -1000", "GETother.example/u()",
                                        "POSTapi.quorvex.example/base/form((k, , v))"}));
}

TEST(QVXWebClient, ManyAtOnceCompleteOnceEachOnWorkersEvenWhenTheClientIsGone) {
    constexpr size_t count = 40;
    std::mutex mutex;
    std::vector<int> completions(count);
    std::vector<std::weak_ptr<QVXWebRequest>> requests;
    std::atomic<size_t> open = count;
    const auto mainThread = std::this_thread::get_id();
    {
        const auto client = makeClient();
        for (size_t index = 0; index < count; ++index) {
            const auto request = makeRequest(index % 4 == 3 ? "/challenge" : "/pieces");
            requests.push_back(request);
            client->startRequest(request, [&, index](const Response& response) {
                {
                    const std::lock_guard lock(mutex);
                    completions[index] += 1;
                    EXPECT_NE(std::this_thread::get_id(), mainThread);
                    EXPECT_EQ(codeOf(*response), index % 4 == 3 ? "QVXWebClientErrorDomain -2" : "");
                }
                if (--open == 0)
                    stop();
            });
        }
    }
    platform::MainRunLoop::run();
    EXPECT_EQ(completions, std::vector<int>(count, 1));
    // The transactions, and with them the requests, go right behind their completions.
    for (const auto& request : requests) {
        while (!request.expired())
            std::this_thread::yield();
    }
}

TEST(QVXWebClient, TheRequestsHandlerIsAskedAboutTheServersTrust) {
    for (const bool answer : {true, false}) {
        for (const auto& [url, code] : {std::pair("https://api.quorvex.example/text", ""),
                                        {"https://unknown-ca.example/text", "NSURLErrorDomain -1203"}}) {
            SCOPED_TRACE(url);
            std::atomic<int> asked = 0;
            const auto request = makeRequest("");
            request->setURL(platform::URL::initWithString(url));
            request->setProtectionSpaceHandler([&](const platform::ProtectionSpace& space) {
                asked += space.serverTrust ? 1 : 100;
                return answer;
            });
            makeClient()->startRequest(request, [code = code](const Response& response) {
                EXPECT_EQ(codeOf(*response), code);
                stop();
            });
            platform::MainRunLoop::run();
            EXPECT_EQ(asked, 1);
        }
    }
}

TEST(QVXWebClientDeathTest, SecondStartsAndReentryStopTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            const auto transaction = QVXWebClientTransaction::transactionWithRequest(makeRequest("/"));
            transaction->startWithCompletionHandler([](const Response&) {});
            transaction->startWithCompletionHandler([](const Response&) {});
            platform::MainRunLoop::run();
        },
        "QVXWebClientTransaction:88: .* Assertion `_connection == nil'");
    EXPECT_DEATH(
        {
            const auto client = makeClient();
            client->syncStartRequest(makeRequest("/a b"),
                                     [&](const Response&) { client->addValue("v", "n"); });
        },
        "queue com.quorvex.rest-client was entered again");
}

} // namespace

} // namespace qvx
