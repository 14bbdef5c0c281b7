// SPDX-License-Identifier: MIT
// Implementation of endpoint.h: who may ask, for what, and how many at a time.
#include "watch/http/endpoint.h"

#include <netdb.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <deque>
#include <set>

#include "base/numbers.h"
#include "base/printable.h"
#include "io/source.h"
#include "watch/http/http_stream.h"
#include "watch/http/pages.h"
#include "watch/http/request_line.h"

namespace zvprobe {
namespace {

constexpr size_t kWorkers = 64;  // connections that are served at a time
constexpr int kMostWaiting = 256;
constexpr char kUsualAddress[] = "127.0.0.1";
constexpr uint32_t kLargestPort = 65535;

struct Address {
    std::string host;
    int port;
};

// "[::1]:9188", "127.0.0.1:9188", ":9188", "9188"
Address address_of(const std::string& text) {
    const size_t colon = text.rfind(':');
    std::string host = colon == text.npos ? "" : text.substr(0, colon);
    const auto port = parse_number(text.substr(colon == text.npos ? 0 : colon + 1), kLargestPort);
    if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
    if (!port || host.find_first_of("[]/ ") != host.npos)
        throw UsageError("listen: " + in_quotes(text) + " is no ADDRESS:PORT");
    return {host.empty() ? kUsualAddress : host, static_cast<int>(*port)};
}

// What the HTTP library does not tell. -> why no socket can be bound to the host; empty: it may be
std::string resolver_complaint(const std::string& host) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE;
    addrinfo* list = nullptr;
    const int code = getaddrinfo(host.c_str(), nullptr, &hints, &list);
    if (code == 0) freeaddrinfo(list);
    return code == 0 ? "" : gai_strerror(code);
}

// -> the name in a Host header, without its port, in lower case
std::string host_name(std::string header) {
    std::ranges::transform(header, header.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (header.starts_with('[')) return header.substr(1, header.find(']') - 1);
    return header.substr(0, header.rfind(':'));
}

// A Host header is compared without its port, and an empty one names nothing.
std::string allowed_host(const std::string& text) {
    if (text.empty() || std::ranges::count(text, ':') == 1 ||
        text.find_first_of("/@ ") != text.npos)
        throw UsageError("allow-host: " + in_quotes(text) + " is no name of a host without a port");
    return host_name(text + ':');
}

// The threads that serve. The one that accepts waits when there are too many to be served.
class Workers : public httplib::TaskQueue {
  public:
    explicit Workers(std::atomic<size_t>& waiting) : waiting_(waiting) {
        for (size_t i = 0; i < kWorkers; ++i)
            threads_.emplace_back([this] { work(); });
    }

    void enqueue(std::function<void()> task) override {
        std::unique_lock lock(mutex_);
        room_.wait(lock, [this] { return tasks_.size() < size_t{kMostWaiting}; });
        tasks_.push_back(std::move(task));
        waiting_ = tasks_.size();
        wake_.notify_one();
    }

    void shutdown() override {
        {
            const std::lock_guard lock(mutex_);
            ends_ = true;
        }
        wake_.notify_all();
        for (std::thread& thread : threads_)
            thread.join();
    }

  private:
    void work() {
        for (;;) {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [this] { return ends_ || !tasks_.empty(); });
            if (tasks_.empty()) return;
            const std::function<void()> task = std::move(tasks_.front());
            tasks_.pop_front();
            waiting_ = tasks_.size();
            room_.notify_one();
            lock.unlock();
            task();
        }
    }

    std::atomic<size_t>& waiting_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable room_;
    std::deque<std::function<void()>> tasks_;
    bool ends_ = false;
    std::vector<std::thread> threads_;
};

// Two endpoints must not share a port.
void allow_early_reuse(socket_t fd) {
    const int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
}

}  // namespace

class Endpoint::Server : private httplib::Server {
  public:
    Server(const Watch& watch, const EndpointSettings& settings)
        : watch_(watch), address_(address_of(settings.listen)) {
        for (const std::string& host : settings.allow_hosts)
            hosts_.insert(allowed_host(host));
        hosts_.insert(host_name(address_.host + ':'));
        new_task_queue = [this] { return new Workers(waiting_); };
        set_socket_options(allow_early_reuse);
        set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& answer) {
            respond(request, answer);
            return HandlerResponse::Handled;
        });
        set_default_headers({{"Cache-Control", "no-store"}, {"X-Content-Type-Options", "nosniff"}});
        bind();
        start();
    }

    ~Server() override {
        stop();
        thread_.join();
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    std::string address() const {
        const bool v6 = address_.host.find(':') != std::string::npos;
        return (v6 ? '[' + address_.host + ']' : address_.host) + ':' +
               std::to_string(address_.port);
    }

  private:
    void bind() {
        const std::string why = resolver_complaint(address_.host);
        if (!why.empty()) throw SourceError("cannot listen there: " + why);
        errno = 0;
        if (address_.port == 0)
            address_.port = bind_to_any_port(address_.host);
        else if (!bind_to_port(address_.host, address_.port))
            address_.port = -1;
        if (address_.port < 0)
            throw SourceError(std::string("cannot listen there: ") + std::strerror(errno));
        // The library has five wait, beyond which clients try again seconds later.
        ::listen(svr_sock_, kMostWaiting);
    }

    // Signals are the main thread's.
    void start() {
        sigset_t all, before;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &before);
        thread_ = std::thread([this] { listen_after_bind(); });
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        // Before it runs it could not be stopped.
        while (!is_running())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }

    // One request a connection: who asks every few seconds need not hold a thread in between.
    bool process_and_close_socket(socket_t fd) override {
        HttpStream stream(fd, [this] { return waiting_ > 0; });
        RequestLine line = rewritten(stream.read_line(kMostOfRequestLine + 1));
        stream.give_back(std::move(line.text));
        bool closed = false;
        // Parts of an answer are of no use here, and many that overlap would make it huge.
        const bool good = process_request(stream, true, closed, [&line](httplib::Request& request) {
            request.ranges.clear();
            if (line.host) ask_host(request, *line.host);
        });
        if (line.too_long) stream.discard_rest();
        shutdown(fd, SHUT_RDWR);
        close(fd);
        return good;
    }

    // What the target names counts, not the header (RFC 9112, 3.2.2), which must be there as in any request.
    static void ask_host(httplib::Request& request, const std::string& host) {
        const size_t headers = request.get_header_value_count("Host");
        if (headers > 1 || (headers == 0 && request.version != "HTTP/1.0")) return;
        request.headers.erase("Host");
        request.headers.emplace("Host", host);
    }

    void respond(const httplib::Request& request, httplib::Response& answer) const {
        if (!is_meant(request)) return fail(answer, 403, "not a name of this host\n");
        if (request.method != "GET" && request.method != "HEAD") {
            answer.set_header("Allow", "GET, HEAD");
            return fail(answer, 405, "only GET and HEAD\n");
        }
        try {
            const Page page = page_at(watch_, request.path);
            answer.status = page.status;
            answer.set_header("Content-Security-Policy", page.policy);
            answer.set_content(page.body, page.type);
        } catch (const std::exception&) {
            fail(answer, 500, "out of memory\n");
        }
    }

    // A page of another site may have its own name lead here ("DNS rebinding"). Then the browser
    // names that site.
    bool is_meant(const httplib::Request& request) const {
        if (!request.has_header("Host")) return request.version == "HTTP/1.0";
        if (request.get_header_value_count("Host") != 1) return false;
        const std::string host = host_name(request.get_header_value("Host"));
        // A socket of both families has IPv4 addresses mapped.
        return host == "localhost" || host == request.local_addr ||
               "::ffff:" + host == request.local_addr || hosts_.contains(host);
    }

    static void fail(httplib::Response& answer, int status, const char* why) {
        answer.status = status;
        answer.set_content(why, "text/plain");
    }

    const Watch& watch_;
    Address address_;
    std::set<std::string> hosts_;
    std::atomic<size_t> waiting_{0};
    std::thread thread_;
};

Endpoint::Endpoint(const Watch& watch, const EndpointSettings& settings)
    : server_(std::make_unique<Server>(watch, settings)) {}

Endpoint::~Endpoint() = default;

std::string Endpoint::address() const {
    return server_->address();
}

}  // namespace zvprobe
