#include "api/HostFixture.h"

#include <poll.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <memory>
#include <regex>
#include <stdexcept>
#include <thread>

namespace vmr::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST_F(HostTest, WorksBeforeTheStartAsFarAsThereIsSomethingToDo) {
    configure();
    EXPECT_EQ(0, velmora_is_started());
    EXPECT_EQ(VELMORA_OK, velmora_will_enter_foreground());
    EXPECT_EQ(VELMORA_OK, velmora_device_update());
    EXPECT_EQ(VELMORA_OK, velmora_device_response("{}"));
    expectRecorded(VelmoraKit::Velmora::sharedVelmora().status());
    runUntilIdle();
}

TEST_F(HostTest, TheWrapperStoresAndReadsEveryType) {
    using VelmoraKit::Velmora;
    VelmoraKit::Options options;
    options.storePath = store_;
    ASSERT_TRUE(Velmora::configure(options));
    EXPECT_EQ(VELMORA_INVALID_STATE, Velmora::configure(options).code());
    ASSERT_TRUE(Velmora::initWithApiKey(nullptr, std::string("secret")));
    EXPECT_TRUE(Velmora::sharedVelmora().isStarted());

    VelmoraKit::Preferences &preferences = Velmora::sharedVelmora().preferences();
    const std::string nul("a\0b", 3);
    EXPECT_TRUE(preferences.setString("text", nul));
    EXPECT_TRUE(preferences.setInteger("integer", INT64_MIN));
    EXPECT_TRUE(preferences.setReal("real", 0.5));
    EXPECT_TRUE(preferences.setBoolean("boolean", true));
    EXPECT_TRUE(preferences.setDate("date", 1614866767.5));
    EXPECT_TRUE(preferences.setData("data", nul));
    EXPECT_TRUE(preferences.setJson("list", "[1,{\"$data\":\"00\"}]"));
    EXPECT_TRUE(preferences.setString("empty", ""));
    EXPECT_EQ(nul, preferences.string("text"));
    EXPECT_EQ(INT64_MIN, preferences.integer("integer"));
    EXPECT_EQ(0.5, preferences.real("real"));
    EXPECT_EQ(true, preferences.boolean("boolean"));
    EXPECT_EQ(1614866767.5, preferences.date("date"));
    EXPECT_EQ(nul, preferences.data("data"));
    EXPECT_EQ("[1,{\"$data\":\"00\"}]", preferences.json("list"));
    EXPECT_EQ("", preferences.string("empty"));
    EXPECT_EQ(std::nullopt, preferences.string("integer"));
    EXPECT_TRUE(preferences.setJson("list", "null"));
    EXPECT_EQ(std::nullopt, preferences.json("list"));
    EXPECT_EQ(VELMORA_INVALID_ARGUMENT, preferences.setString(nul, "t").code());
    EXPECT_TRUE(preferences.synchronize());
}

TEST_F(HostTest, AThreadThatIsCancelledEndsOnlyAfterTheCall) {
    configure();
    std::atomic<bool> afterwards{false};
    std::thread cancelled([&afterwards] {
        pthread_cancel(pthread_self());
        if (velmora_preferences_set_integer("key", 1) == VELMORA_OK &&
            velmora_preferences_synchronize() == VELMORA_OK)
            afterwards = true;
        pthread_testcancel();
        afterwards = false;
    });
    cancelled.join();
    EXPECT_TRUE(afterwards);
    EXPECT_EQ(VELMORA_OK, velmora_preferences_set_integer("key", 2));
}

TEST_F(HostTest, WorkIsHandedToTheMainLoopInOrderFromAnyThread) {
    configure();
    ASSERT_EQ(VELMORA_OK, velmora_start("key", "secret"));
    struct Work {
        std::vector<std::thread::id> *done;
        static void run(void *context) {
            static_cast<Work *>(context)->done->push_back(std::this_thread::get_id());
            throw std::runtime_error("a host's fault");
        }
    };
    std::vector<std::thread::id> done;
    Work work{&done};
    std::thread([&] {
        EXPECT_EQ(VELMORA_OK, velmora_run_loop_perform(&Work::run, &work));
        EXPECT_EQ(VELMORA_OK, velmora_run_loop_perform(&Work::run, &work));
    }).join();
    EXPECT_TRUE(done.empty());
    EXPECT_EQ(VELMORA_OK, velmora_run_loop_run(0)); // a pass
    EXPECT_THAT(done, ElementsAre(std::this_thread::get_id(), std::this_thread::get_id()));
    EXPECT_EQ(VELMORA_INVALID_ARGUMENT, velmora_run_loop_perform(nullptr, nullptr));
}

TEST_F(HostTest, TheStartTellsOnceWhatEveryPostWouldLack) {
    velmora_options given = options();
    const std::string &lines = linesFor(given);
    given.bundle_identifier = nullptr;
    given.information_dictionary = "{}";
    given.ingest_base_address = "http://127.0.0.1:1/a b?token=t";
    given.certificate_authority_file = "/proc/self/comm";
    ASSERT_EQ(VELMORA_OK, velmora_configure(&given));
    ASSERT_EQ(VELMORA_OK, velmora_start("", nullptr));
    EXPECT_THAT(VelmoraKit::Velmora::sharedVelmora().diagnose(), HasSubstr(R"("address":null)"));
    ASSERT_EQ(VELMORA_OK, velmora_start("key", "secret"));
    ASSERT_EQ(VELMORA_OK, velmora_will_enter_foreground());
    runUntilIdle();
    EXPECT_EQ(
        lines,
        "VelmoraKit: there is no bundle identifier of one line, the service does not learn which "
        "application this is: give bundle_identifier, or \"CFBundleIdentifier\" in Info.json\n"
        "VelmoraKit: there is no API key, the service refuses every request: give it with "
        "the start call\n"
        "VelmoraKit: there is no secret, the service refuses every request: give it with the "
        "start call\n"
        "VelmoraKit: the file of trusted certificate authorities /proc/self/comm cannot be read, "
        "or holds no certificate, every https request fails: name a readable PEM file as "
        "certificate_authority_file\n"
        "VelmoraKit: the ingest base address \"http://127.0.0.1:1/a b?***\" is refused, "
        "nothing can be sent: it holds characters that an address must not hold. A right one "
        "looks like https://ingest.example.com/ (ingest_base_address, or "
        "\"VMRIngestBaseAddress\" in Info.json)\n"
        "last: (null), new: (null)\n"
        "VelmoraKit: the start call is made again: from now on every change is handled once more. "
        "Make it once\n"
        "last: (null), new: (null)\n");
}

TEST_F(HostTest, TheStartSeesToWhatOtherProcessesSet) {
    configure();
    auto &velmora = VelmoraKit::Velmora::sharedVelmora();
    velmora.preferences().setString("IABTCF_TCString", "now");
    execute("INSERT INTO handovers(key,type,value) VALUES('IABTCF_TCString','string','before')");
    ASSERT_EQ(VELMORA_OK, velmora_start("key", "secret"));
    const std::string status = velmora.status();
    EXPECT_THAT(status, HasSubstr(R"("consentString":"before")"));
    EXPECT_LT(status.find(R"("consentString":"before")"), status.find(R"("consentString":"now")"));
}

TEST_F(HostTest, TheStoreStaysWhereItWasNamedWhereverTheHostGoes) {
    std::filesystem::current_path(folder_.path());
    velmora_options given = options();
    given.store_path = "store.db";
    ASSERT_EQ(VELMORA_OK, velmora_configure(&given));
    std::filesystem::current_path("/");
    EXPECT_EQ(VELMORA_OK, velmora_preferences_set_integer("key", 1));
    EXPECT_EQ(VELMORA_OK, velmora_preferences_synchronize());
    EXPECT_TRUE(std::filesystem::exists(store_));
}

TEST_F(HostTest, AStatusTellsEverythingThatIsKept) {
    configure();
    auto &velmora = VelmoraKit::Velmora::sharedVelmora();
    velmora.preferences().setString("VMRDeviceId", "an identifier");
    velmora.preferences().setString("IABTCF_TCString", "v2");
    velmora.preferences().setString("VMRLastTCFv1StringKey", "v1");
    velmora.preferences().setDate("VMRLastPostConsentDatasDateKey", 5);
    velmora.preferences().setDate("VMRLastPostConsentDatasAttemptDateKey", 6);
    ASSERT_EQ(VELMORA_OK, velmora_start("key", "secret"));
    expectRecorded(std::regex_replace(velmora.status(), std::regex("\\d{10}\\.\\d+"), "<now>"));
}

TEST_F(HostTest, ADiagnosisTellsWhereEventsGoAndHowTheLastRequestEnded) {
    velmora_options given = options();
    given.system_version = "12.4";
    ASSERT_EQ(VELMORA_OK, velmora_configure(&given));
    ASSERT_EQ(VELMORA_OK, velmora_start("key", "secret"));
    const auto &velmora = VelmoraKit::Velmora::sharedVelmora();
    EXPECT_THAT(velmora.diagnose(), HasSubstr("\"lastRequest\":null"));
    EXPECT_EQ(VELMORA_OK, velmora_will_enter_foreground());
    runUntilIdle();
    std::string told = velmora.diagnose();
    told.replace(told.find(store_), store_.size(), "<store>");
    told = std::regex_replace(told, std::regex("(\"worker\":)\\d+"), "$1<process>");
    told = std::regex_replace(told, std::regex("(\"thread\":)\\d+"), "$1<thread>");
    told =
        std::regex_replace(told, std::regex("(\"seconds[^\"]*\":)(null|[-\\d.e]+)"), "$1<seconds>");
    told =
        std::regex_replace(told, std::regex("(NSDebugDescription=)[^\"]*"), "$1<libcurl's words>");
    expectRecorded(std::regex_replace(told, std::regex("\\d{10}\\.\\d+"), "<now>"));
}

TEST_F(HostTest, ObserversSeeChangesUntilTheyEnd) {
    configure();
    auto &preferences = VelmoraKit::Velmora::sharedVelmora().preferences();
    std::vector<std::string> seen;
    const auto note = [&seen](std::string_view key, const char *now, const char *before) {
        seen.push_back(std::string(key) + " " + (now ? now : "-") + " " + (before ? before : "-"));
        throw std::runtime_error("a host's fault");
    };
    {
        const auto observation = preferences.observe("k", note);
        ASSERT_TRUE(observation);
        preferences.setString("k", "1");
        preferences.setInteger("k", 2);
        preferences.setInteger("other", 3);
        preferences.remove("k");
    }
    preferences.setString("k", "4");
    const auto failing = preferences.observe("f", [&](auto...) { preferences.integer("none"); });
    EXPECT_EQ(VELMORA_OK, velmora_preferences_set_integer("f", 1));
    EXPECT_STREQ("", velmora_last_error_message()) << "the outer call has succeeded";
    EXPECT_THAT(seen, ElementsAre("k \"1\" -", "k 2 \"1\"", "k - 2"));

    seen.clear();
    const auto everything = preferences.observe(nullptr, note);
    preferences.setBoolean("any", true);
    EXPECT_THAT(seen, ElementsAre("any true -"));
    VelmoraKit::Result refused;
    EXPECT_FALSE(preferences.observe("", note, &refused));
    EXPECT_EQ(VELMORA_INVALID_ARGUMENT, refused.code());
}

TEST_F(HostTest, AnObservationCanEndInsideItsCallback) {
    configure();
    auto &preferences = VelmoraKit::Velmora::sharedVelmora().preferences();
    VelmoraKit::Observation observation;
    const auto life = std::make_shared<int>(0);
    observation = preferences.observe("k", [&observation, life](auto...) {
        observation.end();
        ++*life; // the callback lives until it returns
    });
    preferences.setInteger("k", 1);
    preferences.setInteger("k", 2);
    EXPECT_EQ(1, *life);
    EXPECT_EQ(1, life.use_count());
}

TEST_F(HostTest, TheMainLoopBelongsToTheThreadThatStarted) {
    configure();
    ASSERT_EQ(VELMORA_OK, velmora_start("key", "secret"));
    std::thread([] {
        int settled = 0;
        EXPECT_EQ(VELMORA_WRONG_THREAD, velmora_run_loop_process());
        EXPECT_EQ(VELMORA_WRONG_THREAD, velmora_run_loop_run(0));
        EXPECT_EQ(VELMORA_WRONG_THREAD, velmora_run_loop_run_until_idle(0, &settled));
        EXPECT_EQ(VELMORA_WRONG_THREAD, velmora_start("key", "secret"));
        EXPECT_EQ(VELMORA_OK, velmora_will_enter_foreground());
    }).join();
    int descriptor = -1;
    ASSERT_EQ(VELMORA_OK, velmora_run_loop_descriptor(&descriptor));
    pollfd waiting{descriptor, POLLIN, 0};
    EXPECT_EQ(1, poll(&waiting, 1, 60'000)); // the other thread's foreground event
    EXPECT_EQ(VELMORA_OK, velmora_run_loop_process());
    EXPECT_THAT(VelmoraKit::Velmora::sharedVelmora().status(),
                HasSubstr("\"nbLaunchesSinceBeginning\":1"));
    std::thread([] { EXPECT_EQ(VELMORA_OK, velmora_run_loop_stop()); }).join();
    EXPECT_EQ(VELMORA_OK, velmora_run_loop_run(-1));
}

TEST_F(HostTest, EveryThreadMayCallWhileAnotherStarts) {
    configure();
    std::atomic<bool> ended{false};
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number)
        threads.emplace_back([&ended, number] {
            auto &velmora = VelmoraKit::Velmora::sharedVelmora();
            const std::string key = "key" + std::to_string(number);
            std::int64_t round = 0;
            do {
                EXPECT_TRUE(velmora.preferences().setInteger(key, ++round));
                EXPECT_EQ(round, velmora.preferences().integer(key));
                EXPECT_TRUE(velmora.preferences().setString("IABTCF_TCString", key));
                EXPECT_FALSE(velmora.status().empty());
                EXPECT_TRUE(velmora.applicationWillEnterForeground());
                EXPECT_TRUE(velmora.onDeviceDataUpdateRequestResponse("{}"));
                const auto observation = velmora.preferences().observe(nullptr, [](auto...) {});
                EXPECT_TRUE(observation);
            } while (!ended && round < 50);
        });
    EXPECT_EQ(VELMORA_OK, velmora_start("key", "secret"));
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(VELMORA_OK, velmora_run_loop_process());
    ended = true;
    for (std::thread &thread : threads)
        thread.join();
}

TEST_F(HostTest, AChildForkedBeforeTheFirstUseCanUseTheSDK) {
    const pid_t child = fork();
    if (child == 0) {
        const velmora_options given = options();
        _exit(velmora_configure(&given) | velmora_start("key", "secret") |
              velmora_preferences_set_string("k", "child") | velmora_preferences_synchronize());
    }
    int status = -1;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
    configure();
    EXPECT_EQ("child", VelmoraKit::Velmora::sharedVelmora().preferences().string("k"));
}

} // namespace
} // namespace vmr::test
