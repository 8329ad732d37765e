// What a start costs: a child process starts the SDK on a store with events, tells time, memory and
// threads, then idles in its own loop while the parent counts its context switches.

#include "Measure.h"
#include "support/TemporaryFolder.h"

#include <VelmoraKit/velmora.h>

#include <dirent.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr int starts = 15;
constexpr int idleSeconds = 10;

struct StartFigures {
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

void start(const std::string &store, int answer) {
    configure(store);
    const long before = residentKilobytes();
    StartFigures figures{};
    figures.milliseconds = bench::timed([] { require(velmora_start("key", "secret")); });
    figures.addedKilobytes = residentKilobytes() - before;
    figures.threads = static_cast<long>(tasksOf(getpid()).size());
    if (write(answer, &figures, sizeof figures) != static_cast<ssize_t>(sizeof figures))
        std::exit(1);
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
    else
        start(store, number);
    return 0;
}

/// Starts over and over on a store with so many events; gives the last process, which lives on.
pid_t measureStarts(int events, double allowed) {
    const vmr::test::TemporaryFolder folder;
    const std::string store = folder.file("preferences.sqlite");
    int status = 0;
    waitpid(spawn("fill", store, events), &status, 0);
    if (status != 0)
        std::exit(1);
    std::vector<StartFigures> all;
    pid_t last = -1;
    for (int round = 0; round < starts; ++round) {
        if (last > 0) {
            kill(last, SIGKILL);
            waitpid(last, nullptr, 0);
        }
        int pipeEnds[2];
        if (pipe(pipeEnds) != 0)
            std::exit(1);
        last = spawn("start", store, pipeEnds[1]);
        close(pipeEnds[1]);
        StartFigures figures{};
        if (read(pipeEnds[0], &figures, sizeof figures) != static_cast<ssize_t>(sizeof figures))
            std::exit(1);
        close(pipeEnds[0]);
        all.push_back(figures);
    }
    const auto middle = all.begin() + starts / 2;
    std::nth_element(all.begin(), middle, all.end(), [](const auto &one, const auto &other) {
        return one.milliseconds < other.milliseconds;
    });
    std::printf("start call, %d stored events: %.3f ms (allowed %.1f), %ld KB added, %ld thread(s) "
                "in the process\n",
                events, middle->milliseconds, allowed, middle->addedKilobytes, middle->threads);
    std::fflush(stdout);
    return last;
}

} // namespace

int main(int count, char **arguments) {
    if (count == 4)
        return play(arguments[1], arguments[2], std::atoi(arguments[3]));
    for (const auto &[events, allowed] : {std::pair{10'000, 45.0}, std::pair{1000, 5.0}}) {
        const pid_t process = measureStarts(events, allowed);
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }
    const pid_t last = measureStarts(100, 1.2);
    sleep(1);
    const long before = contextSwitches(last);
    sleep(idleSeconds);
    const long switches = contextSwitches(last) - before;
    std::printf("idle for %d s after it: %ld context switches (allowed 0)\n", idleSeconds,
                switches);
    kill(last, SIGKILL);
    waitpid(last, nullptr, 0);
    return 0;
}
