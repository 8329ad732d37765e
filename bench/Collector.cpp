#include "Collector.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <ctime>
#include <fstream>
#include <stdexcept>

namespace bench {
namespace {

using Steady = std::chrono::steady_clock;

void require(bool isTrue, const char *what) {
    if (!isTrue)
        throw std::runtime_error(what);
}

std::string bytesOf(const velmora::fleet::WireRequest &request) {
    const std::string path = request.url.substr(request.url.find('/', 8));
    std::string bytes = "POST " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\n";
    for (const std::string &header : request.headers)
        bytes += header + "\r\n";
    return bytes + "Content-Length: " + std::to_string(request.body.size()) + "\r\n\r\n" +
           request.body;
}

void sendAll(int peer, const std::string &bytes) {
    for (std::size_t sent = 0; sent < bytes.size();) {
        const ssize_t count = send(peer, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        require(count > 0, "the collector takes no more");
        sent += static_cast<std::size_t>(count);
    }
}

void readAnswer(int peer) {
    std::array<char, 4096> bytes{};
    const ssize_t count = recv(peer, bytes.data(), bytes.size(), 0);
    require(count > 0 && std::string_view(bytes.data(), 12) == "HTTP/1.1 200",
            "an answer is not 200");
}

} // namespace

double Load::millisecondsBelow(double share) const {
    std::vector<double> sorted = milliseconds;
    std::ranges::sort(sorted);
    return sorted.at(static_cast<std::size_t>(share * static_cast<double>(sorted.size() - 1)));
}

Collector::Collector(const std::string &program, const std::string &place) {
    std::ofstream(place + ".keys") << key << " " << secret << "\n";
    std::array<int, 2> ends{};
    require(pipe(ends.data()) == 0, "no pipe");
    process_ = fork();
    if (process_ == 0) {
        dup2(ends[1], STDOUT_FILENO);
        execl(program.c_str(), program.c_str(), "collect", "--to", (place + ".db").c_str(),
              "--keys", (place + ".keys").c_str(), nullptr);
        _exit(127);
    }
    close(ends[1]);
    out_ = ends[0];
    std::array<char, 1024> line{};
    require(read(out_, line.data(), line.size() - 1) > 0, "the collector does not start");
    const std::string text = line.data();
    const std::size_t colon = text.find(':', text.find("127.0.0.1"));
    port_ = std::atoi(text.c_str() + colon + 1);
}

Collector::~Collector() {
    kill(process_, SIGTERM);
    waitpid(process_, nullptr, 0);
    close(out_);
}

int Collector::connect() const {
    const int peer = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port_));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    require(::connect(peer, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0,
            "no connection");
    const int on = 1;
    setsockopt(peer, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return peer;
}

Load Collector::load(const std::vector<velmora::fleet::WireRequest> &requests,
                     std::size_t connections, double rate) const {
    std::vector<std::string> bytes;
    for (const auto &request : requests)
        bytes.push_back(bytesOf(request));
    std::vector<pollfd> peers;
    std::vector<Steady::time_point> sentAt(connections);
    std::vector<std::size_t> spare;
    for (std::size_t i = 0; i < connections; ++i) {
        peers.push_back({connect(), POLLIN, 0});
        spare.push_back(i);
    }
    Load load;
    const Steady::time_point begin = Steady::now();
    const auto dueAt = [&](std::size_t number) {
        const std::chrono::duration<double> time(rate == 0 ? 0
                                                           : static_cast<double>(number) / rate);
        return begin + std::chrono::duration_cast<Steady::duration>(time);
    };
    std::size_t next = 0;
    while (load.milliseconds.size() < bytes.size()) {
        while (next < bytes.size() && !spare.empty() && dueAt(next) <= Steady::now()) {
            const std::size_t peer = spare.back();
            spare.pop_back();
            sentAt[peer] = rate == 0 ? Steady::now() : dueAt(next);
            sendAll(peers[peer].fd, bytes[next++]);
        }
        poll(peers.data(), peers.size(), next < bytes.size() && !spare.empty() ? 1 : 1000);
        for (std::size_t i = 0; i < peers.size(); ++i)
            if ((peers[i].revents & (POLLIN | POLLHUP)) != 0) {
                readAnswer(peers[i].fd);
                const std::chrono::duration<double, std::milli> time = Steady::now() - sentAt[i];
                load.milliseconds.push_back(time.count());
                spare.push_back(i);
            }
    }
    load.seconds = std::chrono::duration<double>(Steady::now() - begin).count();
    for (const pollfd &peer : peers)
        close(peer.fd);
    return load;
}

double Collector::residentMiB() const {
    std::ifstream memory("/proc/" + std::to_string(process_) + "/statm");
    double total = 0;
    double resident = 0;
    memory >> total >> resident;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1048576;
}

double Collector::processorSeconds() const {
    clockid_t clock{};
    timespec time{};
    require(clock_getcpuclockid(process_, &clock) == 0 && clock_gettime(clock, &time) == 0,
            "the collector's processor time cannot be read");
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

} // namespace bench
