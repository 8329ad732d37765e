#include "support/LocalServer.h"
#include "support/RawServer.h"
#include "tools/Velmora.h"

#include <gmock/gmock.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

namespace vmr::test {
namespace {

using nlohmann::json;
using testing::AnyOf;
using testing::HasSubstr;
namespace fs = std::filesystem;

constexpr const char *noSuchService = "http://127.0.0.1:9/";

std::string httpDate(std::time_t time) {
    std::tm utc{};
    gmtime_r(&time, &utc);
    char text[64] = "";
    std::strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S GMT", &utc);
    return text;
}

class DoctorTests : public testing::Test {
protected:
    using Options = std::map<std::string, std::string>;

    DoctorTests() {
        fs::create_directory(folder());
        fs::permissions(folder(), fs::perms::owner_all);
    }
    ~DoctorTests() override { leaveEnvironment(); }

    std::string folder() const { return temporary_.file("state"); }
    std::string store() const { return folder() + "/store.db"; }

    std::vector<std::string> runWords() const {
        return {"run", "--store", store(), "--ingest", noSuchService, "--bundle-id", "com.a.b"};
    }

    void makeStore() const {
        Program prefs = velmora({"prefs", "set", "k", "v", "--store", store()});
        prefs.wait();
        ASSERT_TRUE(fs::exists(store())) << prefs.errors();
    }

    /// The findings of an application in which nothing is wrong, but for what the test brings.
    /// Checks what holds for every finding, and the exit status.
    std::map<std::string, json> findings(const Options &different = {},
                                         std::vector<std::string> words = {},
                                         const std::string &program = VELMORA_PROGRAM) const {
        Options options = {{"--store", store()},        {"--ingest", noSuchService},
                           {"--bundle-id", "com.a.b"},  {"--app-version", "1.0"},
                           {"--api-key", "public-key"}, {"--secret", "hidden-secret"}};
        for (const auto &[name, value] : different)
            options[name] = value;
        for (const auto &[name, value] : options)
            if (!value.empty())
                words.insert(words.end(), {name, value});
        words.insert(words.begin(), {"doctor", "--json"});
        Program doctor = velmora(words, program);
        std::istringstream lines(doctor.rest());
        const std::vector<std::string> severities = {"ok", "warning", "error"};
        std::map<std::string, json> found;
        std::ptrdiff_t worst = 0;
        for (std::string line; std::getline(lines, line);) {
            const json finding = json::parse(line);
            const auto severity = std::find(severities.begin(), severities.end(),
                                            finding["severity"].get<std::string>()) -
                                  severities.begin();
            worst = std::max(worst, severity);
            EXPECT_EQ(finding["remedy"].is_null(), severity == 0) << line;
            EXPECT_NE(finding["message"], "") << line;
            found[finding["id"]] = finding;
        }
        EXPECT_EQ(doctor.wait(), worst) << doctor.errors();
        EXPECT_FALSE(found.empty());
        return found;
    }

    std::string severity(const std::string &id, const Options &different = {},
                         std::vector<std::string> words = {}) const {
        auto found = findings(different, std::move(words));
        SCOPED_TRACE(json(found).dump(1));
        return found.contains(id) ? found[id]["severity"] : json("missing");
    }

    TemporaryFolder temporary_;
};

TEST_F(DoctorTests, FindsNothingWrongWhereNothingIs) {
    for (const bool exists : {false, true}) {
        if (exists)
            makeStore();
        for (const auto &[id, finding] : findings()) {
            const bool mayLieInMemory = id == "store.filesystem";
            EXPECT_TRUE(mayLieInMemory || finding["severity"] == "ok") << finding;
        }
    }
    EXPECT_EQ(findings()["store.format"]["severity"], "ok");
    Program text = velmora({"doctor", "--store", store(), "--ingest", noSuchService});
    EXPECT_EQ(text.wait(), 2);
    EXPECT_THAT(text.rest(), HasSubstr("error\tbundle.identifier\tthere is no bundle identifier"));
}

TEST_F(DoctorTests, ChangesNothing) {
    makeStore();
    const auto listing = [&] {
        std::map<std::string, std::pair<std::uintmax_t, int>> files;
        for (const auto &entry : fs::directory_iterator(folder()))
            if (!entry.path().string().ends_with("-shm"))
                files[entry.path()] = {entry.file_size(),
                                       static_cast<int>(entry.status().permissions())};
        return files;
    };
    for (const auto rights : {fs::perms(0600), fs::perms(0644)}) {
        fs::permissions(store(), rights);
        const auto before = listing();
        EXPECT_EQ(severity("store.access"), "ok");
        EXPECT_EQ(listing(), before);
    }
    const auto before = listing();

    EXPECT_EQ(severity("store.access", {{"--store", folder() + "/other.db"}}), "ok");
    EXPECT_EQ(listing(), before);
}

TEST_F(DoctorTests, FindsAStoreThatIsNotSafeToUse) {
    fs::permissions(folder(), fs::perms(0777));
    EXPECT_EQ(severity("store.access"), "error");
    EXPECT_EQ(severity("store.folder"), "warning");
    fs::permissions(folder(), fs::perms(0700));

    fs::create_symlink("elsewhere.db", store());
    EXPECT_EQ(severity("store.access"), "error");
    fs::remove(store());

    EXPECT_EQ(severity("store.access", {{"--store", folder() + "/none/store.db"}}), "error");
    EXPECT_EQ(severity("store.place", {{"--store", ""}, {"--bundle-id", ""}}), "warning");
    setenv("XDG_STATE_HOME", temporary_.file("other").c_str(), 1);
    // Neither the folder nor, in one that is there, the file has to exist already.
    for (const char *made : {"", "/VelmoraKit/com.example.doctor"}) {
        fs::create_directories(temporary_.file("other") + made);
        const auto found = findings({{"--store", ""}, {"--bundle-id", "com.example.doctor"}});
        EXPECT_EQ(found.at("store.access")["severity"], "ok") << found.at("store.access");
        EXPECT_EQ(found.at("store.folder")["severity"], "ok");
    }

    makeStore();
    if (chown(store().c_str(), 12345, 12345) == 0) { // as root
        const auto finding = findings()["store.access"];
        EXPECT_EQ(finding["severity"], "error");
        EXPECT_THAT(std::string(finding["message"]), HasSubstr("belongs to another user"));
    }
}

TEST_F(DoctorTests, FindsADamagedStoreAndOneThatWasSetAside) {
    std::ofstream(store()) << std::string(8192, 'x');
    fs::permissions(store(), fs::perms(0600));
    EXPECT_EQ(severity("store.access"), "error"); // no store at all
    std::ofstream(store()) << "SQLite format 3" << '\0' << std::string(8176, 'x');
    EXPECT_EQ(severity("store.damage"), "error");
    EXPECT_EQ(fs::file_size(store()), 8192U);

    Program host = velmora(runWords());
    ask(host, "status");
    host.closeInput();
    host.wait();
    const auto found = findings();
    EXPECT_EQ(found.at("store.access")["severity"], "ok");
    EXPECT_EQ(found.at("store.set-aside")["severity"], "warning");
}

TEST_F(DoctorTests, NamesWhoLocksTheStore) {
    makeStore();
    sqlite3 *database = nullptr;
    ASSERT_EQ(sqlite3_open(store().c_str(), &database), SQLITE_OK);
    const auto expectLocks = [this](const char *severity, const std::string &says) {
        const json finding = findings()["store.locks"];
        EXPECT_EQ(finding["severity"], severity);
        EXPECT_THAT(std::string(finding["message"]), HasSubstr(says));
    };
    const std::string self = "process " + std::to_string(getpid());

    sqlite3_exec(database, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    expectLocks("warning", self);
    EXPECT_EQ(severity("store.access"), "ok");
    sqlite3_close(database);

    ASSERT_EQ(sqlite3_open(store().c_str(), &database), SQLITE_OK);
    sqlite3_exec(database, "PRAGMA locking_mode=EXCLUSIVE; BEGIN IMMEDIATE", nullptr, nullptr,
                 nullptr);
    expectLocks("warning", self);
    EXPECT_EQ(severity("store.locked"), "error");
    sqlite3_close(database);

    Program host = velmora(runWords());
    ask(host, "status");
    expectLocks("ok", "is in charge of the store");
    Program second = velmora(runWords());
    ask(second, "status");
    expectLocks("ok", "it waits until that one ends"); // the last of the findings with that name

    // As from another container. Says nothing where the right to make one is missing.
    Program apart({"/usr/bin/unshare", "--pid", "--fork", "--mount-proc", VELMORA_PROGRAM, "doctor",
                   "--store", store(), "--ingest", noSuchService});
    const std::string seen = apart.rest();
    EXPECT_TRUE(seen.empty() ||
                seen.find("a process that cannot be seen from here is in charge of the "
                          "store") != std::string::npos)
        << seen;
}

TEST_F(DoctorTests, FindsWhatKeepsTheServiceFromBeingReached) {
    EXPECT_EQ(severity("ingest.address", {{"--ingest", "https://ingest.example.com"}}), "error");
    EXPECT_EQ(severity("ingest.name", {{"--ingest", "https://127.0.0.1/"}}), "ok");
    EXPECT_EQ(severity("ingest.name", {{"--ingest", "https://nowhere.invalid/"}}), "error");
    EXPECT_EQ(severity("connection", {}, {"--connect"}), "error");
    EXPECT_EQ(severity("connection"), "missing");

    const Options secure = {{"--ingest", "https://localhost:9/"}};
    setenv("https_proxy", "http://127.0.0.1:9", 1);
    EXPECT_EQ(severity("ingest.interception", secure), "error");
    EXPECT_EQ(severity("connection", secure, {"--connect"}), "warning");
    EXPECT_EQ(severity("ingest.interception", secure, {"--allow-proxy"}), "ok");
    setenv("no_proxy", "localhost", 1);
    EXPECT_EQ(severity("ingest.interception", secure), "ok");
    setenv("SSLKEYLOGFILE", temporary_.file("keys").c_str(), 1);
    EXPECT_EQ(severity("ingest.interception", secure, {"--allow-proxy", "--connect"}), "error");
    EXPECT_FALSE(fs::exists(temporary_.file("keys")));
}

TEST_F(DoctorTests, ReadsTheServicesCertificate) {
    CertificateAuthority authority;
    const CertificateAuthority stranger;
    struct Case {
        const char *names;
        int from, until;
        const CertificateAuthority &trusted;
        const char *id;
        const char *severity;
    };
    const Case cases[] = {
        {"DNS:localhost", -1, 90, authority, "tls.expiry", "ok"},
        {"DNS:localhost", -1, 5, authority, "tls.expiry", "warning"},
        {"DNS:localhost", -9, -1, authority, "tls.expiry", "error"},
        {"DNS:localhost", 1, 9, authority, "tls.expiry", "error"},
        {"DNS:elsewhere.example", -1, 90, authority, "tls.host", "error"},
        {"DNS:localhost", -1, 90, stranger, "tls.chain", "error"},
        {"DNS:localhost", -1, 90, authority, "tls.protocol", "ok"},
    };
    for (const Case &each : cases) {
        const LocalServer server(authority.issue(each.names, each.from, each.until));
        const Options options = {{"--ingest", server.address("localhost")},
                                 {"--ca-file", each.trusted.file()}};
        EXPECT_EQ(severity(each.id, options, {"--connect"}), each.severity)
            << each.id << " " << each.names << " until " << each.until;
        for (const LocalServer::Request &request : server.requests()) {
            EXPECT_EQ(request.method, "HEAD");
            EXPECT_EQ(request.headers.count("Authorization"), 0U);
        }
    }
    const LocalServer server(authority.issue("DNS:localhost"));
    EXPECT_EQ(severity("tls.pin",
                       {{"--ingest", server.address("localhost")},
                        {"--ca-file", authority.file()},
                        {"--pinned-key", authority.issue("DNS:localhost").publicKeyPin}},
                       {"--connect"}),
              "error");

    const LocalServer plain([](const LocalServer::Request &request) {
        LocalServer::Answer answer;
        const bool isLate = request.target == "/late/";
        answer.headers.emplace("Date", httpDate(std::time(nullptr) + (isLate ? 3600 : 0)));
        return answer;
    });
    for (const auto &[path, expected] : {std::pair{"", "ok"}, std::pair{"late/", "warning"}}) {
        auto found = findings({{"--ingest", plain.address() + path}}, {"--connect"});
        EXPECT_EQ(found["connection"]["severity"], "ok");
        EXPECT_EQ(found["clock.service"]["severity"], expected);
    }
    const RawServer disguised([](RawServer::Connection &connection) {
        connection.write(httpResponse("400 Bad Request", ""));
        connection.waitForClose();
    });
    EXPECT_EQ(severity("tls.protocol",
                       {{"--ingest", disguised.address("https")}, {"--ca-file", authority.file()}},
                       {"--connect"}),
              "error");
}

TEST_F(DoctorTests, FindsATrustStoreWithoutAuthorities) {
    const CertificateAuthority authority;
    const std::string empty = temporary_.file("empty.pem");
    std::ofstream(empty) << "nothing";
    for (const auto &[file, expected] : {std::pair{authority.file(), "ok"},
                                         {empty, "error"},
                                         {temporary_.file("none.pem"), "error"}})
        EXPECT_EQ(severity("tls.trust", {{"--ingest", "https://localhost/"}, {"--ca-file", file}}),
                  expected)
            << file;
}

TEST_F(DoctorTests, FindsAWrongClockAndZone) {
    for (const auto &[zone, expected] :
         {std::pair{"Mars/Olympus", "warning"}, std::pair{"UTC", "ok"}, std::pair{"", "ok"},
          std::pair{"CET-1CEST,M3.5.0,M10.5.0", "ok"}}) {
        setenv("TZ", zone, 1);
        EXPECT_EQ(severity("clock.zone"), expected) << zone;
    }
    // To a program that was built tomorrow, today's clock is wrong.
    const std::string copy = temporary_.file("velmora");
    fs::copy_file(VELMORA_PROGRAM, copy);
    fs::last_write_time(copy, fs::file_time_type::clock::now() + std::chrono::hours(24));
    EXPECT_EQ(findings({}, {}, copy)["clock.time"]["severity"], "error");
    EXPECT_EQ(severity("clock.time"), "ok");
}

TEST_F(DoctorTests, LooksAtTheBundleAndItsFile) {
    EXPECT_EQ(severity("identifier", {{"--system-version", "13"}, {"--tracking-status", "3"}}),
              "warning");
    EXPECT_EQ(severity("identifier", {{"--system-version", "14"}, {"--tracking-status", "3"}}),
              "ok");
    EXPECT_EQ(severity("bundle.identifier", {{"--bundle-id", ""}}), "error");
    EXPECT_EQ(severity("bundle.identifier", {{"--bundle-id", std::string(201, 'a')}}), "warning");
    EXPECT_EQ(severity("bundle.identifier", {{"--bundle-id", "my app"}}), "warning");
    EXPECT_EQ(severity("bundle.version", {{"--app-version", ""}}), "warning");
    EXPECT_EQ(severity("options", {{"--bundle-id", std::string(5000, 'a')}}), "error");

    const std::string file = temporary_.file("Info.json");
    const Options fromFile = {
        {"--bundle-id", ""}, {"--app-version", ""}, {"--ingest", ""}, {"--info-file", file}};
    std::ofstream(file) << R"({"CFBundleIdentifier": "com.file", "CFBundleShortVersionString": "3",
                               "VMRIngestBaseAddress": "http://127.0.0.1/no-slash"})";
    auto found = findings(fromFile);
    EXPECT_EQ(found["bundle.info"]["severity"], "ok");
    EXPECT_THAT(std::string(found["bundle.identifier"]["message"]), HasSubstr("com.file"));
    EXPECT_EQ(found["bundle.version"]["severity"], "ok");
    EXPECT_EQ(found["ingest.address"]["severity"], "error");

    for (const char *content : {"[1]", "{", ""}) {
        std::ofstream(file) << content;
        EXPECT_EQ(severity("bundle.info", {{"--info-file", file}}), "error") << content;
    }
    EXPECT_EQ(severity("bundle.info", {{"--info-file", temporary_.file("none")}}), "error");
}

TEST_F(DoctorTests, ShowsTheSignatureWithoutTheSecret) {
    const auto found = findings();
    const std::string shown = found.at("signature.token")["message"];
    // printf hidden-secret/consents/public-key/ | sha1sum
    EXPECT_THAT(shown, HasSubstr("e292fcfe7a8e67a2d280092ffb5390c9321d9134"));
    EXPECT_THAT(shown, HasSubstr("\"***/consents/public-key/\""));
    EXPECT_THAT(json(found).dump(), testing::Not(HasSubstr("hidden-secret")));

    EXPECT_EQ(severity("signature.secret", {{"--secret", "hidden-secret\n"}}), "error");
    EXPECT_EQ(severity("signature.key", {{"--api-key", " key"}}), "error");
    EXPECT_EQ(severity("signature.token", {{"--secret", ""}}), "warning");
}

} // namespace
} // namespace vmr::test
