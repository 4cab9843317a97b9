#include "QVXWebClient/QVXWebClient/QVXWebClientTransaction.h"

#include "QVXWebClient/QVXWebClient/QVXWebClient.h"
#include "platform/http/URLLoader.h"
#include "platform/process/Assert.h"
#include "platform/text/Format.h"
#include "platform/values/PropertyList.h"

namespace qvx {

namespace {

// What assertions print. File, function and line are an interface, as texts are: they do not follow this
// file.
constexpr const char* sourceFile = "QVXWebClient/QVXWebClient/QVXWebClientTransaction";

} // namespace

platform::Error QVXWebClientError(int code) {
    return {QVXWebClientErrorDomain, code,
            // The text that the platform makes of a domain without texts of its own, its apostrophe
            // included.
            platform::format("The operation couldn’t be completed. (%@ error %i.)", QVXWebClientErrorDomain,
                             code)};
}

QVXWebClientTransaction::QVXWebClientTransaction(std::shared_ptr<QVXWebRequest> request)
    : request_(std::move(request)) {}

std::shared_ptr<QVXWebClientTransaction>
QVXWebClientTransaction::transactionWithRequest(std::shared_ptr<QVXWebRequest> request) {
    return initWithRequest(std::move(request));
}

std::shared_ptr<QVXWebClientTransaction>
QVXWebClientTransaction::initWithRequest(std::shared_ptr<QVXWebRequest> request) {
    return std::shared_ptr<QVXWebClientTransaction>(new QVXWebClientTransaction(std::move(request)));
}

void QVXWebClientTransaction::startWithCompletionHandler(CompletionHandler handler) {
    queue_.async([self = shared_from_this(), handler = std::move(handler)]() mutable {
        self->completionHandler_ = std::move(handler);
        self->startConnection();
    });
}

void QVXWebClientTransaction::syncStartWithCompletionHandler(CompletionHandler handler) {
    // Set first, so that a second start replaces the handler even when it then stops the process.
    completionHandler_ = std::move(handler);
    if (connection_)
        platform::assertionFailed(
            "!_connection", "-[QVXWebClientTransaction syncStartWithCompletionHandler:]", sourceFile, 155);
    syncStartConnection();
}

void QVXWebClientTransaction::startConnection() {
    // Made before the check, as form data are: a request that is started twice fails with its body built.
    platform::URLRequest request = request_->URLRequest();
    if (connection_)
        platform::assertionFailed("_connection == nil", "-[QVXWebClientTransaction startConnection]",
                                  sourceFile, 88);
    response_->setRequestURL(request.URL);
    // The connection keeps its delegate, this transaction, until it has told the end; the transaction keeps
    // the connection. The circle ends there.
    connection_ = std::make_unique<platform::URLConnection>(std::move(request), shared_from_this());
    connection_->start();
}

void QVXWebClientTransaction::syncStartConnection() {
    const platform::URLRequest request = request_->URLRequest();
    if (connection_)
        platform::assertionFailed("_connection == nil", "-[QVXWebClientTransaction syncStartConnection]",
                                  sourceFile, 113);
    // Without the content type, so that a synchronous body is always the bytes as they came. Deliberate: the
    // asynchronous half alone decodes.
    response_->setRequestURL(request.URL);
    platform::URLReply reply = platform::sendSynchronousRequest(request);
    // All three, whatever there is: a reply that broke off has a status and some bytes beside its error.
    response_->setError(std::move(reply.error));
    response_->appendData(reply.data);
    if (reply.response) {
        response_->setStatusCode(reply.response->statusCode);
        response_->setResponseHeaders(std::move(reply.response->allHeaderFields));
    }
    complete();
}

// The delegate is called on the main thread. Everything that it tells goes through the queue, on which alone
// the response is changed, so that the parts of a reply cannot overtake each other.
void QVXWebClientTransaction::connectionDidReceiveResponse(const platform::HTTPURLResponse& response) {
    queue_.async([self = shared_from_this(), response] {
        self->response_->setStatusCode(response.statusCode);
        self->response_->setResponseHeaders(response.allHeaderFields);
        // Found anywhere in the field, since a character set may stand behind the type.
        const std::string type = response.allHeaderFields.value("Content-Type").value_or("");
        if (type.find("application/x-plist") != std::string::npos)
            self->contentType_ = ContentType::propertyList;
        else if (type.find("application/json") != std::string::npos)
            self->contentType_ = ContentType::json;
        else
            self->contentType_ = ContentType::other;
    });
}

void QVXWebClientTransaction::connectionDidReceiveData(const platform::Data& data) {
    queue_.async([self = shared_from_this(), data] { self->response_->appendData(data); });
}

void QVXWebClientTransaction::connectionDidFailWithError(const std::optional<platform::Error>& error) {
    if (!error)
        platform::assertionFailed("error", "-[QVXWebClientTransaction connection:didFailWithError:]",
                                  sourceFile, 239);
    queue_.async([self = shared_from_this(), error] {
        self->response_->setError(error);
        self->complete();
    });
}

void QVXWebClientTransaction::connectionDidFinishLoading() {
    queue_.async([self = shared_from_this()] { self->complete(); });
}

// The asynchronous half only: `run` sends its requests one at a time and waits for each. Certificates are
// checked before anybody asks here, so the handler can refuse a server, not trust one.
bool QVXWebClientTransaction::connectionCanAuthenticateAgainstProtectionSpace(
    const std::optional<platform::ProtectionSpace>& space) {
    bool answer = false;
    if (space && space->serverTrust) {
        queue_.sync([&] {
            if (const auto& handler = request_->protectionSpaceHandler())
                answer = handler(*space);
        });
    } else {
        if (connection_)
            connection_->cancel();
        connectionDidFailWithError(QVXWebClientError(QVXWebClientAuthenticationImpossible));
    }
    return answer;
}

std::optional<platform::Value> QVXWebClientTransaction::objectFromReceivedData() {
    const platform::Data& data = response_->responseData();
    if (data.empty())
        return std::nullopt;
    if (contentType_ == ContentType::json)
        return QVXWebClient::decodeJSON(data);
    if (contentType_ == ContentType::propertyList) {
        platform::Result<platform::Value> list = platform::propertyListWithData(data);
        if (list)
            return std::move(*list);
        // What went wrong first is what is told.
        if (!response_->error())
            response_->setError(list.error());
        return std::nullopt;
    }
    return data;
}

void QVXWebClientTransaction::complete() {
    if (!completionHandler_)
        platform::assertionFailed("_completionHandler", "-[QVXWebClientTransaction complete]", sourceFile,
                                  192);
    response_->setBody(objectFromReceivedData());
    // Dropped after its call: it usually holds the client, which holds this transaction.
    completionHandler_(response_);
    completionHandler_ = nullptr;
}

} // namespace qvx
