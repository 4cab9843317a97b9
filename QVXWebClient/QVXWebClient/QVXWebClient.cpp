#include "QVXWebClient/QVXWebClient/QVXWebClient.h"

#include <set>

#include "platform/process/Assert.h"
#include "platform/process/DispatchQueue.h"
#include "platform/values/JSON.h"

namespace qvx {

using platform::HeaderFields;

/// Outlives the client: an exchange that is under way keeps it, so that its completion still runs when the
/// caller has let the client go.
/// Everything but `url` is touched on the queue only.
struct QVXWebClient::State : std::enable_shared_from_this<State> {
    std::shared_ptr<QVXWebClientTransaction> prepare(const std::shared_ptr<QVXWebRequest>& request);
    void start(const std::shared_ptr<QVXWebRequest>& request, Completion completion);

    std::optional<platform::URL> url;
    std::set<std::shared_ptr<QVXWebClientTransaction>> connections;
    HeaderFields headers{{"Accept", "application/json, application/x-plist"}};
    const platform::DispatchQueue queue{"com.quorvex.rest-client"};
};

std::shared_ptr<QVXWebClientTransaction>
QVXWebClient::State::prepare(const std::shared_ptr<QVXWebRequest>& request) {
    // A URL that the caller gave counts, and so does the path of a request that was sent before: its URL
    // stands already.
    if (!request->URL() && request->path()) {
        request->setURL(url ? platform::URL::initWithString(*request->path(), *url)
                            : platform::URL::initWithString(*request->path()));
    }
    request->addHeaders(headers);
    auto transaction = QVXWebClientTransaction::transactionWithRequest(request);
    // The client owns what is under way: a transaction has no other owner while it waits for the network.
    connections.insert(transaction);
    return transaction;
}

void QVXWebClient::State::start(const std::shared_ptr<QVXWebRequest>& request, Completion completion) {
    queue.async([self = shared_from_this(), request, completion = std::move(completion)] {
        const auto transaction = self->prepare(request);
        transaction->startWithCompletionHandler(
            [self, transaction, completion](const std::shared_ptr<QVXWebResponse>& response) {
                // Not on the queue: a completion may well start the next request and wait for it.
                platform::dispatchGlobal([self, transaction, completion, response] {
                    completion(response);
                    // Only now, since the response that the completion reads belongs to the transaction.
                    self->queue.async([self, transaction] { self->connections.erase(transaction); });
                });
            });
    });
}

namespace {

/// The completion that checks the status before `completion`, which may be null, sees the response.
QVXWebClient::Completion expecting(uint64_t status, QVXWebClient::Completion completion) {
    return [status, completion = std::move(completion)](const std::shared_ptr<QVXWebResponse>& response) {
        if (!completion)
            return;
        // An error says more than a status that was never sent.
        if (!response->error() && response->statusCode() != status)
            response->setError(QVXWebClientError(QVXWebClientUnexpectedStatus));
        completion(response);
    };
}

} // namespace

std::shared_ptr<QVXWebClient> QVXWebClient::initWithURL(std::optional<platform::URL> url) {
    auto state = std::make_shared<State>();
    state->url = std::move(url);
    return std::shared_ptr<QVXWebClient>(new QVXWebClient(std::move(state)));
}

const std::optional<platform::URL>& QVXWebClient::URL() const {
    return state_->url;
}

void QVXWebClient::addValue(std::string_view value, std::string_view forHeader) {
    state_->queue.sync([&] { state_->headers.set(forHeader, value); });
}

void QVXWebClient::startRequest(const std::shared_ptr<QVXWebRequest>& request, Completion completion) {
    state_->start(request, std::move(completion));
}

void QVXWebClient::startRequest(const std::shared_ptr<QVXWebRequest>& request, uint64_t expectingResponse,
                                Completion completion) {
    startRequest(request, expecting(expectingResponse, std::move(completion)));
}

void QVXWebClient::syncStartRequest(const std::shared_ptr<QVXWebRequest>& request,
                                    const Completion& completion) {
    const std::shared_ptr<State> state = state_; // the completion may drop the client
    // On the queue for the whole exchange: that is what keeps requests of one client one behind the other.
    state->queue.sync([&] {
        const auto transaction = state->prepare(request);
        transaction->syncStartWithCompletionHandler([&](const std::shared_ptr<QVXWebResponse>& response) {
            completion(response);
            state->connections.erase(transaction);
        });
    });
}

void QVXWebClient::syncStartRequest(const std::shared_ptr<QVXWebRequest>& request, uint64_t expectingResponse,
                                    Completion completion) {
    syncStartRequest(request, expecting(expectingResponse, std::move(completion)));
}

void QVXWebClient::getPath(std::string_view path, Completion completion) {
    const auto url =
        state_->url ? platform::URL::initWithString(path, *state_->url) : platform::URL::initWithString(path);
    if (url)
        return getURL(*url, std::move(completion));
    // Not legal as it stands: the send fails as any with a bad URL.
    startRequest(QVXWebRequest::requestWithMethod("GET", std::string(path)), std::move(completion));
}

void QVXWebClient::getURL(const platform::URL& url, Completion completion) {
    // The request is made on the queue, like everything that touches the headers.
    state_->queue.async([state = state_, url, completion = std::move(completion)] {
        const auto request = QVXWebRequest::requestWithMethod("GET", url.relativePath().value_or(""));
        request->setURL(url);
        state->start(request, completion);
    });
}

void QVXWebClient::postFormData(const platform::Dictionary& fields, std::string_view toPath,
                                Completion completion) {
    state_->queue.async(
        [state = state_, fields, path = std::string(toPath), completion = std::move(completion)] {
            const auto request = QVXWebRequest::requestWithMethod("POST", path);
            request->setFormData(fields);
            state->start(request, completion);
        });
}

std::string QVXWebClient::escapeURLString(std::string_view text) {
    return platform::stringByAddingPercentEscapes(text);
}

std::optional<platform::Value> QVXWebClient::decodeJSON(const platform::Data& data) {
    return platform::JSONObjectWithData(data);
}

void QVXWebClient::encodeJSON(const platform::Value&) {
    // The line number is an interface, as a text is: it stays whatever happens to this file. So do the others
    // that are handed to assertionFailed.
    platform::assertionFailed("0 && \"encodeJSON: isn't implemented yet\"", "+[QVXWebClient encodeJSON:]",
                              "QVXWebClient/QVXWebClient/QVXWebClient", 58);
}

} // namespace qvx
