// A service that takes everything as fast as it comes: sink CERTIFICATE
// A CONNECT proxy on a port of 127.0.0.1 that ends the TLS itself, with the certificate and key of that PEM
// file. Prints its port, then "BYTES SECONDS PATH" for each exchange, from the end of the request's head to
// the end of its body. Runs until it is killed.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

constexpr size_t kReadSize = size_t{256} << 10;

template <auto free>
struct Free {
    void operator()(auto* object) const { free(object); }
};
using Context = std::unique_ptr<SSL_CTX, Free<SSL_CTX_free>>;
using Session = std::unique_ptr<SSL, Free<SSL_free>>;

/// Lengths are announced in one spelling by every client that comes here.
size_t contentLength(const std::string& head) {
    constexpr std::string_view name = "\r\nContent-Length: ";
    const size_t found = head.find(name);
    return found == std::string::npos ? 0 : std::strtoull(head.c_str() + found + name.size(), nullptr, 10);
}

/// Reads until the blank line; `rest` is what came behind it.
template <class Read>
std::optional<std::string> readHead(Read read, size_t& rest) {
    std::string head;
    std::vector<char> bytes(kReadSize);
    while (true) {
        const auto count = read(bytes.data(), bytes.size());
        if (count <= 0)
            return std::nullopt;
        head.append(bytes.data(), static_cast<size_t>(count));
        if (const size_t end = head.find("\r\n\r\n"); end != std::string::npos) {
            rest = head.size() - end - 4;
            head.resize(end + 4);
            return head;
        }
    }
}

bool serveExchange(SSL* session) {
    size_t received = 0;
    const auto head = readHead(
        [&](char* to, size_t size) { return SSL_read(session, to, static_cast<int>(size)); }, received);
    if (!head)
        return false;
    const auto start = std::chrono::steady_clock::now();
    constexpr std::string_view goOn = "HTTP/1.1 100 Continue\r\n\r\n";
    if (head->find("\r\nExpect: 100-continue\r\n") != std::string::npos)
        SSL_write(session, goOn.data(), static_cast<int>(goOn.size()));
    const size_t length = contentLength(*head);
    std::vector<char> bytes(kReadSize);
    while (received < length) {
        const int count = SSL_read(session, bytes.data(), static_cast<int>(bytes.size()));
        if (count <= 0)
            return false;
        received += static_cast<size_t>(count);
    }
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    const size_t path = head->find(' ') + 1;
    std::printf("%zu %.6f %s\n", received, elapsed.count(),
                head->substr(path, head->find(' ', path) - path).c_str());
    std::fflush(stdout);
    constexpr std::string_view created = "HTTP/1.1 201 Created\r\nContent-Length: 0\r\n\r\n";
    return SSL_write(session, created.data(), static_cast<int>(created.size())) > 0;
}

void serve(int fd, SSL_CTX* context) {
    size_t rest = 0;
    const auto request = readHead([fd](char* to, size_t size) { return read(fd, to, size); }, rest);
    constexpr std::string_view connected = "HTTP/1.1 200 Connected\r\n\r\n";
    if (request && request->starts_with("CONNECT ") &&
        write(fd, connected.data(), connected.size()) == ssize_t{connected.size()}) {
        const Session session(SSL_new(context));
        SSL_set_fd(session.get(), fd);
        if (SSL_accept(session.get()) == 1) {
            while (serveExchange(session.get()))
                continue;
        }
    }
    close(fd);
}

Context makeContext(const char* certificate) {
    Context context(SSL_CTX_new(TLS_server_method()));
    if (SSL_CTX_use_certificate_chain_file(context.get(), certificate) != 1 ||
        SSL_CTX_use_PrivateKey_file(context.get(), certificate, SSL_FILETYPE_PEM) != 1)
        return nullptr;
    // Many records with one system call.
    SSL_CTX_set_read_ahead(context.get(), 1);
    SSL_CTX_set_default_read_buffer_len(context.get(), kReadSize);
    return context;
}

} // namespace

int main(int argc, char** argv) {
    const Context context = argc == 2 ? makeContext(argv[1]) : nullptr;
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (!context || bind(listener, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        listen(listener, 16) != 0 || getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        return 1;
    std::signal(SIGPIPE, SIG_IGN);
    std::printf("%d\n", ntohs(address.sin_port));
    std::fflush(stdout);
    while (true) {
        const int fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0)
            return 1;
        const int on = 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        std::thread(serve, fd, context.get()).detach();
    }
}
