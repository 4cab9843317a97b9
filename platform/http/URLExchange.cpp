#include "platform/http/URLExchange.h"

#include <climits>
#include <cstdlib>

#include "platform/http/CurlError.h"
#include "platform/text/String.h"

namespace qvx::platform {

namespace {

constexpr int redirectLimit = 16;
// What a reply may bring: answers are a few lines, and they are kept in memory.
constexpr size_t dataLimit = 16 * 1024 * 1024;
/// A redirect's body is read, so that the connection can be used again, unless it is longer than this.
constexpr size_t redirectDataLimit = 64 * 1024;
constexpr long uploadBufferSize = 512 * 1024;

// A line break in a value would begin a field of its own; libcurl sends what it is given.
bool isSendable(std::string_view name, std::string_view value) {
    constexpr std::string_view forbidden("\r\n\0", 3);
    return !name.empty() && name.find_first_of(forbidden) == std::string_view::npos &&
           value.find_first_of(forbidden) == std::string_view::npos;
}

/// Fields that tell how the connection is used; the loader writes them itself.
// A length that a caller made up, or an Expect, would let the server wait for what never comes.
bool isConnectionField(std::string_view name) {
    return equalsIgnoringCase(name, "Host") || equalsIgnoringCase(name, "Content-Length") ||
           equalsIgnoringCase(name, "Transfer-Encoding") || equalsIgnoringCase(name, "Connection") ||
           equalsIgnoringCase(name, "Expect");
}

/// Fields that tell who sends, for the first request's host alone.
bool isIdentityField(std::string_view name, std::string_view prefix) {
    return equalsIgnoringCase(name, "Authorization") || equalsIgnoringCase(name, "Cookie") ||
           (!prefix.empty() && equalsIgnoringCase(name.substr(0, prefix.size()), prefix));
}

bool isToken(std::string_view text) {
    constexpr std::string_view characters = "!#$%&'*+-.^_`|~0123456789"
                                            "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    return !text.empty() && text.find_first_not_of(characters) == std::string_view::npos;
}

bool isChallenge(const HTTPURLResponse& response) {
    const auto has = [&](std::string_view name) { return response.allHeaderFields.value(name).has_value(); };
    return (response.statusCode == 401 && has("WWW-Authenticate")) ||
           (response.statusCode == 407 && has("Proxy-Authenticate"));
}

} // namespace

URLExchange::URLExchange(const URLRequest& request, URLExchangeObserver& observer,
                         const URLExchangeCanceller& canceller)
    : request_(request), observer_(observer), canceller_(canceller), activity_(request.timeoutInterval),
      body_(request.HTTPBody.value_or(Data())) {}

std::optional<Error> URLExchange::run() {
    if (std::optional<Error> error = refusal())
        return error;
    if (std::optional<Error> error = open())
        return error;
    // Redirects are followed here and not by libcurl: it would send the identity fields on to other hosts,
    // and repeat or drop the body by rules of its own.
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
    // One handle for all hops, so that a redirect on the same host finds its connection open.
    easy_.reset(curl_->easyInit());
    if (!easy_)
        return urlError(URLErrorCode::unknown);
    setCallbacks();
    setTransfer();
    setSecurity();
    return std::nullopt;
}

/// Sets what security or correctness hangs on: an exchange whose libcurl does not take it is given up.
template <class T>
void URLExchange::set(CURLoption option, const char* name, T value) {
    if (curl_->easySetopt(easy_.get(), option, value) != CURLE_OK && refusedOption_.empty())
        refusedOption_ = name;
}

/// Sets what a libcurl that is older, or was built without the thing that the option is about, may not know;
/// whether it does.
template <class T>
bool URLExchange::setWhereKnown(CURLoption option, const char* name, T value) {
    const CURLcode code = curl_->easySetopt(easy_.get(), option, value);
    if (code != CURLE_OK && code != CURLE_UNKNOWN_OPTION && code != CURLE_NOT_BUILT_IN &&
        refusedOption_.empty())
        refusedOption_ = name;
    return code == CURLE_OK;
}

void URLExchange::setCallbacks() {
    set(CURLOPT_ERRORBUFFER, "CURLOPT_ERRORBUFFER", detail_.data());
    set(CURLOPT_OPENSOCKETFUNCTION, "CURLOPT_OPENSOCKETFUNCTION", &SocketActivity::open);
    set(CURLOPT_OPENSOCKETDATA, "CURLOPT_OPENSOCKETDATA", &activity_);
    set(CURLOPT_CLOSESOCKETFUNCTION, "CURLOPT_CLOSESOCKETFUNCTION", &SocketActivity::close);
    set(CURLOPT_CLOSESOCKETDATA, "CURLOPT_CLOSESOCKETDATA", &activity_);
    set(CURLOPT_READFUNCTION, "CURLOPT_READFUNCTION", &URLRequestBody::readCallback);
    set(CURLOPT_READDATA, "CURLOPT_READDATA", &body_);
    set(CURLOPT_SEEKFUNCTION, "CURLOPT_SEEKFUNCTION", &URLRequestBody::seekCallback);
    set(CURLOPT_SEEKDATA, "CURLOPT_SEEKDATA", &body_);
    set(CURLOPT_HEADERFUNCTION, "CURLOPT_HEADERFUNCTION", &URLExchange::headerCallback);
    set(CURLOPT_HEADERDATA, "CURLOPT_HEADERDATA", this);
    set(CURLOPT_WRITEFUNCTION, "CURLOPT_WRITEFUNCTION", &URLExchange::dataCallback);
    set(CURLOPT_WRITEDATA, "CURLOPT_WRITEDATA", this);
    set(CURLOPT_XFERINFOFUNCTION, "CURLOPT_XFERINFOFUNCTION", &URLExchange::progressCallback);
    set(CURLOPT_XFERINFODATA, "CURLOPT_XFERINFODATA", this);
    set(CURLOPT_NOPROGRESS, "CURLOPT_NOPROGRESS", 0L);
    // Only OpenSSL's back ends ask; without it nobody hears of a handshake, which is checked all the same.
    if (setWhereKnown(CURLOPT_SSL_CTX_FUNCTION, "CURLOPT_SSL_CTX_FUNCTION", &URLExchange::handshakeCallback))
        set(CURLOPT_SSL_CTX_DATA, "CURLOPT_SSL_CTX_DATA", this);
}

void URLExchange::setTransfer() {
    set(CURLOPT_NOSIGNAL, "CURLOPT_NOSIGNAL", 1L);
    // Connecting has no time limit but the idle one.
    set(CURLOPT_CONNECTTIMEOUT_MS, "CURLOPT_CONNECTTIMEOUT_MS", static_cast<long>(INT_MAX));
    set(CURLOPT_HTTP_VERSION, "CURLOPT_HTTP_VERSION", static_cast<long>(CURL_HTTP_VERSION_1_1));
    // Whatever libcurl was built to unpack; the limits count what is unpacked.
    set(CURLOPT_ACCEPT_ENCODING, "CURLOPT_ACCEPT_ENCODING", "");
    // A name server that does not answer must not hold the thread when the exchange has been given up.
    setWhereKnown(CURLOPT_QUICK_EXIT, "CURLOPT_QUICK_EXIT", 1L);
    setWhereKnown(CURLOPT_UPLOAD_BUFFERSIZE, "CURLOPT_UPLOAD_BUFFERSIZE", uploadBufferSize);
}

void URLExchange::setSecurity() {
    if (!setWhereKnown(CURLOPT_PROTOCOLS_STR, "CURLOPT_PROTOCOLS_STR", "https")) {
        // What it was called before libcurl 7.85, whose name its headers warn of.
        constexpr auto protocols = static_cast<CURLoption>(CURLOPTTYPE_LONG + 181);
        set(protocols, "CURLOPT_PROTOCOLS", static_cast<long>(CURLPROTO_HTTPS));
    }
    // A user and password in a URL would go to whatever host a redirect names.
    set(CURLOPT_DISALLOW_USERNAME_IN_URL, "CURLOPT_DISALLOW_USERNAME_IN_URL", 1L);
    // Fields for the server only: a proxy has no business with the key.
    set(CURLOPT_HEADEROPT, "CURLOPT_HEADEROPT", static_cast<long>(CURLHEADER_SEPARATE));
    set(CURLOPT_SUPPRESS_CONNECT_HEADERS, "CURLOPT_SUPPRESS_CONNECT_HEADERS", 1L);
    // And later ones; servers that stop at 1.1 are not to be had any more, and clients that fall back can be
    // made to.
    set(CURLOPT_SSLVERSION, "CURLOPT_SSLVERSION", static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    // A libcurl that knows no CAs of a proxy speaks no TLS to one.
    // The names that OpenSSL and everything built on it know; company CAs are installed this way on build
    // servers.
    if (const char* file = std::getenv("SSL_CERT_FILE"); file && *file) {
        set(CURLOPT_CAINFO, "CURLOPT_CAINFO", file);
        setWhereKnown(CURLOPT_PROXY_CAINFO, "CURLOPT_PROXY_CAINFO", file);
    }
    if (const char* folder = std::getenv("SSL_CERT_DIR"); folder && *folder) {
        set(CURLOPT_CAPATH, "CURLOPT_CAPATH", folder);
        setWhereKnown(CURLOPT_PROXY_CAPATH, "CURLOPT_PROXY_CAPATH", folder);
    }
}

void URLExchange::setHop() {
    set(CURLOPT_URL, "CURLOPT_URL", hop_->URL.absoluteString().c_str());
    const bool hasBody = request_.HTTPBody && !hop_->bodyDropped;
    if (hop_->method == "HEAD") {
        set(CURLOPT_NOBODY, "CURLOPT_NOBODY", 1L);
    } else if (hasBody || hop_->method == "POST") {
        // From the start for each hop that repeats it.
        body_.seek(0);
        // Also for other methods with a body: CUSTOMREQUEST, below, only changes the word in the request
        // line.
        set(CURLOPT_POST, "CURLOPT_POST", 1L);
        set(CURLOPT_POSTFIELDSIZE_LARGE, "CURLOPT_POSTFIELDSIZE_LARGE",
            static_cast<curl_off_t>(body_.size()));
    } else {
        set(CURLOPT_HTTPGET, "CURLOPT_HTTPGET", 1L);
    }
    set(CURLOPT_CUSTOMREQUEST, "CURLOPT_CUSTOMREQUEST", hop_->method.c_str());
    headers_ = headerList();
    set(CURLOPT_HTTPHEADER, "CURLOPT_HTTPHEADER", headers_.get());
}

bool URLExchange::sendsHeader(std::string_view name, std::string_view value) const {
    if (!isSendable(name, value) || isConnectionField(name))
        return false;
    // A GET that came of a POST has nothing that this could be the type of.
    if (hop_->bodyDropped && equalsIgnoringCase(name, "Content-Type"))
        return false;
    return !isIdentityField(name, request_.identityFieldPrefix) || haveSameOrigin(hop_->URL, *request_.URL);
}

CurlList URLExchange::headerList() {
    CurlList list;
    const auto append = [&](const std::string& line) {
        if (curl_slist* longer = curl_->slistAppend(list.get(), line.c_str())) {
            static_cast<void>(list.release());
            list.reset(longer);
        } else if (refusedOption_.empty()) {
            refusedOption_ = "CURLOPT_HTTPHEADER";
        }
    };
    // A name without a value keeps libcurl from adding the field by itself.
    append("Expect:");
    if (!request_.HTTPHeaderFields.value("Content-Type"))
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
    if (!refusedOption_.empty())
        return urlError(URLErrorCode::unknown, "libcurl does not take " + refusedOption_);
    const CURLcode code = curl_->easyPerform(easy_.get());
    // Told to nobody: whoever cancelled has stopped listening.
    if (canceller_.isCancelled())
        return urlError(URLErrorCode::unknown);
    if (code == CURLE_OK || next_)
        return std::nullopt;
    // A head that broke off is worth its status: it is what people look up.
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
    // Asked and told, never answered: there is no password to give.
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

/// Called about once a second at least, and whenever bytes move.
int URLExchange::progressCallback(void* exchange, curl_off_t, curl_off_t, curl_off_t, curl_off_t sent) {
    auto& self = *static_cast<URLExchange*>(exchange);
    if (self.request_.sentBytes)
        *self.request_.sentBytes = static_cast<uint64_t>(sent);
    if (self.activity_.isIdle())
        self.failure_ = URLErrorCode::timedOut;
    return self.failure_ || self.canceller_.isCancelled() ? 1 : 0;
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
