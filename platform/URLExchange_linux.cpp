#include "platform/URLExchange_linux.h"

#include <strings.h>

#include <climits>
#include <cstdlib>

#include "platform/CurlError_linux.h"

namespace qvx::platform {

namespace {

constexpr int redirectLimit = 16;
constexpr size_t dataLimit = 16 * 1024 * 1024;
/// A redirect's body is read, so that the connection can be used again, unless it is longer than this.
constexpr size_t redirectDataLimit = 64 * 1024;
constexpr long uploadBufferSize = 512 * 1024;

bool equalNames(std::string_view left, std::string_view right) {
    return left.size() == right.size() && ::strncasecmp(left.data(), right.data(), left.size()) == 0;
}

bool isSendable(std::string_view name, std::string_view value) {
    constexpr std::string_view forbidden("\r\n\0", 3);
    return !name.empty() && name.find_first_of(forbidden) == std::string_view::npos &&
           value.find_first_of(forbidden) == std::string_view::npos;
}

/// Fields that tell how the connection is used; the loader writes them itself.
bool isConnectionField(std::string_view name) {
    return equalNames(name, "Host") || equalNames(name, "Content-Length") ||
           equalNames(name, "Transfer-Encoding") || equalNames(name, "Connection") ||
           equalNames(name, "Expect");
}

/// Fields that tell who sends, for the first request's host alone.
bool isIdentityField(std::string_view name) {
    constexpr std::string_view prefix = "X-Quorvex-";
    return equalNames(name.substr(0, prefix.size()), prefix) || equalNames(name, "Authorization") ||
           equalNames(name, "Cookie");
}

bool isToken(std::string_view text) {
    constexpr std::string_view characters = "!#$%&'*+-.^_`|~0123456789"
                                            "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    return !text.empty() && text.find_first_not_of(characters) == std::string_view::npos;
}

bool isChallenge(const HTTPURLResponse& response) {
    const auto has = [&](std::string_view name) {
        return headerField(response.allHeaderFields, name).has_value();
    };
    return (response.statusCode == 401 && has("WWW-Authenticate")) ||
           (response.statusCode == 407 && has("Proxy-Authenticate"));
}

} // namespace

void URLExchangeCanceller::cancel() {
    const std::lock_guard lock(mutex_);
    cancelled_ = true;
    if (multi_)
        CurlLibrary::shared().multiWakeup(multi_);
}

bool URLExchangeCanceller::isCancelled() {
    const std::lock_guard lock(mutex_);
    return cancelled_;
}

void URLExchangeCanceller::setHandle(CURLM* multi) {
    const std::lock_guard lock(mutex_);
    multi_ = multi;
}

URLExchange::URLExchange(const URLRequest& request, URLExchangeObserver& observer,
                         URLExchangeCanceller& canceller)
    : request_(request), observer_(observer), canceller_(canceller), activity_(request.timeoutInterval),
      body_(request.HTTPBody.value_or(Data())) {}

std::optional<Error> URLExchange::run() {
    if (std::optional<Error> error = refusal())
        return error;
    if (std::optional<Error> error = open())
        return error;
    hop_ = URLHop{*request_.URL, request_.HTTPMethod};
    while (true) {
        next_.reset();
        if (std::optional<Error> error = performHop())
            return error;
        if (!next_)
            return std::nullopt;
        hop_ = next_;
        redirects_ += 1;
    }
}

std::optional<Error> URLExchange::refusal() const {
    if (!request_.URL || !isToken(request_.HTTPMethod))
        return urlError(URLErrorCode::badURL);
    if (request_.URL->scheme() != "https")
        return urlError(URLErrorCode::unsupportedURL);
    if (!isLoadable(*request_.URL))
        return urlError(URLErrorCode::badURL);
    return std::nullopt;
}

std::optional<Error> URLExchange::open() {
    curl_ = &CurlLibrary::shared();
    if (!curl_->failure.empty())
        return urlError(URLErrorCode::unknown, curl_->failure);
    multi_.reset(curl_->multiInit());
    easy_.reset(curl_->easyInit());
    if (!multi_ || !easy_)
        return urlError(URLErrorCode::unknown);
    canceller_.setHandle(multi_.get());
    setCallbacks();
    setSecurity();
    return std::nullopt;
}

template <class T>
void URLExchange::set(CURLoption option, T value) {
    curl_->easySetopt(easy_.get(), option, value);
}

void URLExchange::setCallbacks() {
    set(CURLOPT_ERRORBUFFER, detail_.data());
    set(CURLOPT_OPENSOCKETFUNCTION, &SocketActivity::open);
    set(CURLOPT_OPENSOCKETDATA, &activity_);
    set(CURLOPT_CLOSESOCKETFUNCTION, &SocketActivity::close);
    set(CURLOPT_CLOSESOCKETDATA, &activity_);
    set(CURLOPT_READFUNCTION, &URLRequestBody::readCallback);
    set(CURLOPT_READDATA, &body_);
    set(CURLOPT_SEEKFUNCTION, &URLRequestBody::seekCallback);
    set(CURLOPT_SEEKDATA, &body_);
    set(CURLOPT_HEADERFUNCTION, &URLExchange::headerCallback);
    set(CURLOPT_HEADERDATA, this);
    set(CURLOPT_WRITEFUNCTION, &URLExchange::dataCallback);
    set(CURLOPT_WRITEDATA, this);
    set(CURLOPT_SSL_CTX_FUNCTION, &URLExchange::handshakeCallback);
    set(CURLOPT_SSL_CTX_DATA, this);
    set(CURLOPT_NOSIGNAL, 1L);
    // A name server that does not answer must not hold the thread when the exchange has been given up.
    set(CURLOPT_QUICK_EXIT, 1L);
    // Connecting has no time limit but the idle one.
    set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(INT_MAX));
    set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    set(CURLOPT_ACCEPT_ENCODING, "");
    set(CURLOPT_UPLOAD_BUFFERSIZE, uploadBufferSize);
}

void URLExchange::setSecurity() {
    set(CURLOPT_PROTOCOLS_STR, "https");
    // A user and password in a URL would go to whatever host a redirect names.
    set(CURLOPT_DISALLOW_USERNAME_IN_URL, 1L);
    set(CURLOPT_HEADEROPT, static_cast<long>(CURLHEADER_SEPARATE));
    set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    if (const char* file = std::getenv("SSL_CERT_FILE"); file && *file) {
        set(CURLOPT_CAINFO, file);
        set(CURLOPT_PROXY_CAINFO, file);
    }
    if (const char* folder = std::getenv("SSL_CERT_DIR"); folder && *folder) {
        set(CURLOPT_CAPATH, folder);
        set(CURLOPT_PROXY_CAPATH, folder);
    }
}

void URLExchange::setHop() {
    set(CURLOPT_URL, hop_->URL.absoluteString().c_str());
    const bool hasBody = request_.HTTPBody && !hop_->bodyDropped;
    if (hop_->method == "HEAD") {
        set(CURLOPT_NOBODY, 1L);
    } else if (hasBody || hop_->method == "POST") {
        body_.seek(0);
        set(CURLOPT_POST, 1L);
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body_.size()));
    } else {
        set(CURLOPT_HTTPGET, 1L);
    }
    set(CURLOPT_CUSTOMREQUEST, hop_->method.c_str());
    headers_ = headerList();
    set(CURLOPT_HTTPHEADER, headers_.get());
}

bool URLExchange::sendsHeader(std::string_view name, std::string_view value) const {
    if (!isSendable(name, value) || isConnectionField(name))
        return false;
    if (hop_->bodyDropped && equalNames(name, "Content-Type"))
        return false;
    return !isIdentityField(name) || haveSameOrigin(hop_->URL, *request_.URL);
}

CurlList URLExchange::headerList() const {
    CurlList list;
    const auto append = [&](const std::string& line) {
        if (curl_slist* longer = curl_->slistAppend(list.get(), line.c_str())) {
            static_cast<void>(list.release());
            list.reset(longer);
        }
    };
    // A name without a value keeps libcurl from adding the field by itself.
    append("Expect:");
    if (!headerField(request_.HTTPHeaderFields, "Content-Type"))
        append("Content-Type:");
    for (const auto& [name, value] : request_.HTTPHeaderFields) {
        if (sendsHeader(name, value))
            append(value.find_first_not_of(" \t") == std::string::npos ? name + ";" : name + ": " + value);
    }
    return list;
}

std::optional<Error> URLExchange::performHop() {
    head_ = {};
    activity_.restart();
    failure_.reset();
    detail_[0] = '\0';
    setHop();
    const CURLcode code = transfer();
    if (canceller_.isCancelled())
        return urlError(URLErrorCode::unknown);
    if (code == CURLE_OK || next_)
        return std::nullopt;
    if (!head_.isComplete() && head_.response())
        observer_.exchangeDidReceiveResponse(*head_.response());
    if (failure_)
        return urlError(*failure_);
    long connectStatus = 0;
    long methods = 0;
    curl_->easyGetinfo(easy_.get(), CURLINFO_HTTP_CONNECTCODE, &connectStatus);
    curl_->easyGetinfo(easy_.get(), CURLINFO_PROXYAUTH_AVAIL, &methods);
    if (connectStatus == 407 && methods != 0)
        observer_.exchangeNeedsAuthentication(protectionSpace(false));
    return curlError(easy_.get(), code, detail_.data());
}

CURLcode URLExchange::transfer() {
    if (curl_->multiAddHandle(multi_.get(), easy_.get()) != CURLM_OK)
        return CURLE_FAILED_INIT;
    CURLcode code = CURLE_OK;
    int running = 0;
    while (true) {
        if (curl_->multiPerform(multi_.get(), &running) != CURLM_OK) {
            code = CURLE_FAILED_INIT;
            break;
        }
        if (running == 0) {
            int left = 0;
            if (const CURLMsg* message = curl_->multiInfoRead(multi_.get(), &left))
                code = message->data.result;
            break;
        }
        if (canceller_.isCancelled()) {
            code = CURLE_ABORTED_BY_CALLBACK;
            break;
        }
        if (activity_.isIdle()) {
            code = CURLE_OPERATION_TIMEDOUT;
            break;
        }
        curl_->multiPoll(multi_.get(), nullptr, 0, activity_.pollInterval(), nullptr);
    }
    curl_->multiRemoveHandle(multi_.get(), easy_.get());
    return code;
}

/// Judges the reply whose head has come; false when the transfer is not to go on.
bool URLExchange::headEnded() {
    const HTTPURLResponse& response = *head_.response();
    next_ = redirectedHop(*hop_, response);
    if (next_ && redirects_ == redirectLimit) {
        next_.reset();
        failure_ = URLErrorCode::tooManyRedirects;
    }
    dataSize_ = 0;
    if (next_)
        return true;
    if (isChallenge(response))
        observer_.exchangeNeedsAuthentication(protectionSpace(false));
    observer_.exchangeDidReceiveResponse(response);
    return !failure_;
}

size_t URLExchange::headerCallback(char* bytes, size_t size, size_t count, void* exchange) {
    auto& self = *static_cast<URLExchange*>(exchange);
    const bool ended = self.head_.addLine({bytes, size * count});
    if (self.head_.isTooLarge())
        self.failure_ = URLErrorCode::dataLengthExceedsMaximum;
    if (self.failure_ || (ended && !self.headEnded()))
        return 0;
    return size * count;
}

size_t URLExchange::dataCallback(char* bytes, size_t size, size_t count, void* exchange) {
    auto& self = *static_cast<URLExchange*>(exchange);
    self.dataSize_ += size * count;
    if (self.next_)
        return self.dataSize_ > redirectDataLimit ? 0 : size * count;
    if (self.dataSize_ > dataLimit) {
        self.failure_ = URLErrorCode::dataLengthExceedsMaximum;
        return 0;
    }
    self.observer_.exchangeDidReceiveData({bytes, size * count});
    return size * count;
}

CURLcode URLExchange::handshakeCallback(CURL*, void*, void* exchange) {
    auto& self = *static_cast<URLExchange*>(exchange);
    self.observer_.exchangeNeedsAuthentication(self.protectionSpace(true));
    return CURLE_OK;
}

ProtectionSpace URLExchange::protectionSpace(bool serverTrust) const {
    return {hop_->URL.host().value_or(""), hop_->URL.port(), serverTrust};
}

} // namespace qvx::platform
