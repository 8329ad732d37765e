// What a start costs: a child process starts the SDK on a store with events, tells time, memory and
// threads, then idles in its own loop while the parent counts its context switches. Beside it
// another child reads the same rows with bare SQLite.

#include "Measure.h"
#include "RawStore.h"
#include "support/TemporaryFolder.h"

#include <VelmoraKit/velmora.h>

#include <dirent.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

constexpr int starts = 15;
constexpr int idleSeconds = 10;

struct Figures {
    double milliseconds;
    long addedKilobytes;
    long threads;
};

void require(velmora_result result) {
    if (result == VELMORA_OK)
        return;
    std::fprintf(stderr, "%s\n", velmora_last_error_message());
    std::exit(1);
}

long residentKilobytes() {
    std::ifstream file("/proc/self/statm");
    long total = 0;
    long resident = 0;
    file >> total >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

std::vector<std::string> tasksOf(pid_t process) {
    const std::string folder = "/proc/" + std::to_string(process) + "/task";
    std::vector<std::string> tasks;
    DIR *directory = opendir(folder.c_str());
    if (directory == nullptr)
        return tasks;
    while (const dirent *entry = readdir(directory)) {
        if (entry->d_name[0] != '.')
            tasks.push_back(folder + "/" + entry->d_name);
    }
    closedir(directory);
    return tasks;
}

long contextSwitches(pid_t process) {
    long sum = 0;
    for (const std::string &task : tasksOf(process)) {
        std::ifstream status(task + "/status");
        std::string line;
        while (std::getline(status, line)) {
            if (line.find("ctxt_switches:") != std::string::npos)
                sum += std::strtol(line.c_str() + line.find(':') + 1, nullptr, 10);
        }
    }
    return sum;
}

void configure(const std::string &store) {
    velmora_options options;
    require(velmora_options_init(&options, sizeof options));
    options.store_path = store.c_str();
    options.bundle_identifier = "com.example.bench";
    options.ingest_base_address = "http://127.0.0.1:9/";
    options.log_callback = [](const char *, size_t, void *) {};
    require(velmora_configure(&options));
}

void fillStore(const std::string &store, int storedEvents) {
    configure(store);
    require(velmora_preferences_set_string("IABTCF_TCString", bench::consentString(0).c_str()));
    // The first start stores two events, one for each side.
    require(velmora_start("key", "secret"));
    for (int event = 2; event < storedEvents; ++event)
        require(
            velmora_preferences_set_string("IABTCF_TCString", bench::consentString(event).c_str()));
    // The next start compares both sides with this string: equal, so it stores nothing.
    require(velmora_preferences_set_string("VMRLastTCFv1StringKey",
                                           bench::consentString(storedEvents - 1).c_str()));
    // Long enough for the background to move the log into the file.
    require(velmora_run_loop_run(3));
}

void tell(int answer, const Figures &figures) {
    if (write(answer, &figures, sizeof figures) != static_cast<ssize_t>(sizeof figures))
        std::exit(1);
}

void readRows(const std::string &store, int answer) {
    Figures figures{};
    figures.milliseconds = bench::timed([&] { bench::RawStore(store).read(); });
    tell(answer, figures);
}

void start(const std::string &store, int answer) {
    configure(store);
    const long before = residentKilobytes();
    Figures figures{};
    figures.milliseconds = bench::timed([] { require(velmora_start("key", "secret")); });
    figures.addedKilobytes = residentKilobytes() - before;
    figures.threads = static_cast<long>(tasksOf(getpid()).size());
    tell(answer, figures);
    pollfd loop{-1, POLLIN, 0};
    require(velmora_run_loop_descriptor(&loop.fd));
    for (;;) {
        poll(&loop, 1, -1);
        require(velmora_run_loop_process());
    }
}

/// This program again in a role of its own: a fresh process, as a host is one.
pid_t spawn(const char *role, const std::string &store, int number) {
    const pid_t process = fork();
    if (process == 0) {
        execl("/proc/self/exe", "velmora_start_bench", role, store.c_str(),
              std::to_string(number).c_str(), nullptr);
        _exit(127);
    }
    return process;
}

int play(const std::string &role, const std::string &store, int number) {
    if (role == "fill")
        fillStore(store, number);
    else if (role == "read")
        readRows(store, number);
    else
        start(store, number);
    return 0;
}

void end(pid_t process) {
    kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
}

/// A process in that role, and what it tells.
std::pair<pid_t, Figures> figuresOf(const char *role, const std::string &store) {
    int pipeEnds[2];
    if (pipe(pipeEnds) != 0)
        std::exit(1);
    const pid_t process = spawn(role, store, pipeEnds[1]);
    close(pipeEnds[1]);
    Figures figures{};
    if (read(pipeEnds[0], &figures, sizeof figures) != static_cast<ssize_t>(sizeof figures))
        std::exit(1);
    close(pipeEnds[0]);
    return {process, figures};
}

/// Starts over and over on a store with so many events; gives the last process, which lives on.
pid_t measureStarts(int events, double allowed) {
    const vmr::test::TemporaryFolder folder;
    const std::string store = folder.file("preferences.sqlite");
    int status = 0;
    waitpid(spawn("fill", store, events), &status, 0);
    if (status != 0)
        std::exit(1);
    std::vector<double> times;
    std::vector<double> bare;
    Figures figures{};
    pid_t last = -1;
    for (int round = 0; round < starts; ++round) {
        if (last > 0)
            end(last);
        const auto [reader, read] = figuresOf("read", store);
        end(reader);
        bare.push_back(read.milliseconds);
        std::tie(last, figures) = figuresOf("start", store);
        times.push_back(figures.milliseconds);
    }
    const double ours = bench::median(times);
    const double raw = bench::median(bare);
    std::printf("%7d %12.3f %12.1f %12.3f %8.2f %12ld %8ld\n", events, ours, allowed, raw,
                ours / raw, figures.addedKilobytes, figures.threads);
    std::fflush(stdout);
    return last;
}

} // namespace

int main(int count, char **arguments) {
    if (count == 4)
        return play(arguments[1], arguments[2], std::atoi(arguments[3]));
    std::printf("%7s %12s %12s %12s %8s %12s %8s\n", "waiting", "start, ms", "allowed", "bare, ms",
                "ratio", "added, KB", "threads");
    for (const auto &[events, allowed] : {std::pair{10'000, 45.0}, std::pair{1000, 5.0}})
        end(measureStarts(events, allowed));
    const pid_t last = measureStarts(100, 1.2);
    sleep(3); // what the ended ones have left in the log is moved first
    const long before = contextSwitches(last);
    sleep(idleSeconds);
    const long switches = contextSwitches(last) - before;
    std::printf("idle for %d s after it: %ld context switches (allowed 0)\n", idleSeconds,
                switches);
    end(last);
    return 0;
}
