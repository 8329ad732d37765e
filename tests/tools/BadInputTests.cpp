#include "support/RawServer.h"
#include "tools/Velmora.h"

#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>

namespace vmr::test {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
namespace fs = std::filesystem;

/// What a new user gets wrong, and what a service can answer that no service should.
class BadInputTest : public testing::Test {
protected:
    std::string store() const { return folder_.file("inner/store.db"); }
    std::vector<std::string> host(const std::string &address,
                                  std::vector<std::string> more = {}) const {
        more.insert(more.begin(), {"run", "--api-key", "key", "--secret", "secret", "--bundle-id",
                                   "com.example.test", "--ingest", address, "--store", store()});
        return more;
    }
    static std::size_t events(Program &program) {
        return ask(program, "status")["storedConsentEvents"].size();
    }
    static void expectGoesOn(Program &program) {
        EXPECT_EQ(json({{"command", "set"}}), ask(program, "set other thing"));
        EXPECT_EQ("thing", ask(program, "get other")["value"]);
        EXPECT_EQ(json({{"command", "quit"}}), ask(program, "quit"));
        EXPECT_EQ(0, program.wait()) << program.errors();
    }
    /// A fresh store of one file, without a log, with the two events of a first start.
    void makeStore() const {
        const std::string inner = folder_.file("inner");
        fs::remove_all(inner);
        fs::create_directory(inner);
        fs::permissions(inner, fs::perms::owner_all);
        Program program = velmora(host("http://127.0.0.1:1/"));
        expectGoesOn(program);
        sql("PRAGMA journal_mode=DELETE");
    }
    void sql(const char *statements) const {
        sqlite3 *database = nullptr;
        EXPECT_EQ(SQLITE_OK, sqlite3_open(store().c_str(), &database));
        EXPECT_EQ(SQLITE_OK, sqlite3_exec(database, statements, nullptr, nullptr, nullptr));
        sqlite3_close(database);
    }

    TemporaryFolder folder_;
};

TEST_F(BadInputTest, AStoreThatCannotBeUsed) {
    using Path = const std::string &;
    const auto overwrite = [](Path path, const std::string &bytes) {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
    };
    const bool isRoot = ::geteuid() == 0;
    struct Case {
        const char *says;
        std::function<void(Path)> spoil;
    };
    const Case cases[] = {
        {"is not a preferences file",
         [&](Path path) { overwrite(path, std::string(20'000, 'g')); }},
        {"is damaged", [](Path path) { fs::resize_file(path, 50); }},
        {"symbolic link",
         [](Path path) {
             fs::rename(path, path + ".target");
             fs::create_symlink(path + ".target", path);
         }},
        {"is not a regular file",
         [](Path path) {
             fs::remove(path);
             EXPECT_EQ(0, ::mkfifo(path.c_str(), 0600));
         }},
        {isRoot ? "belongs to another user" : "run chmod 600",
         [isRoot](Path path) {
             EXPECT_EQ(0, isRoot ? ::chown(path.c_str(), 65534, 65534) : ::chmod(path.c_str(), 0));
         }},
        {"which does not exist", [](Path path) { fs::remove_all(fs::path(path).parent_path()); }},
    };
    for (const Case &each : cases) {
        makeStore();
        each.spoil(store());
        Program program = velmora(host("http://127.0.0.1:1/"));
        EXPECT_EQ(2U, events(program)) << each.says;
        expectGoesOn(program);
        EXPECT_THAT(program.errors(), HasSubstr(each.says));

        const bool isSetAside = std::string(each.says) == "is damaged";
        std::size_t setAside = 0;
        if (isSetAside)
            for (const auto &entry : fs::directory_iterator(folder_.file("inner")))
                setAside += entry.path().string().find(".damaged-") != std::string::npos;
        EXPECT_EQ(isSetAside, setAside > 0) << each.says;
        // What cannot be read must not look like a key without a value.
        Program tool = velmora({"prefs", "get", "other", "--store", store()});
        EXPECT_EQ(isSetAside ? "{\"key\":\"other\",\"value\":\"thing\"}\n" : "", tool.rest());
        EXPECT_EQ(isSetAside ? 0 : 1, tool.wait()) << tool.errors();
    }
}

TEST_F(BadInputTest, AStoreThatIsHeldKeepsItsEvents) {
    makeStore();
    sqlite3 *holder = nullptr;
    sqlite3_open(store().c_str(), &holder);
    sqlite3_exec(holder, "PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE", nullptr, nullptr,
                 nullptr);
    Program program = velmora(host("http://127.0.0.1:1/"));
    EXPECT_EQ(2U, events(program));
    EXPECT_THAT(program.errors(), HasSubstr("is held by another process"));
    Program tool = velmora({"prefs", "set", "other", "new", "--store", store()});
    EXPECT_EQ(1, tool.wait());
    EXPECT_EQ("", tool.rest());
    EXPECT_THAT(tool.errors(), HasSubstr("until then nothing is read or written"));
    sqlite3_close(holder);
    const auto isUsed = [&program] {
        return program.errors().find("can be used again") != std::string::npos;
    };
    for (int turn = 0; turn < 600 && !isUsed(); ++turn)
        ask(program, "wait 0.1");
    EXPECT_TRUE(isUsed()) << program.errors();
    EXPECT_FALSE(ask(program, "get other")["value"].is_null());
    EXPECT_EQ(2U, events(program)) << "the others come with the next start";
    ask(program, "quit");
    EXPECT_EQ(0, program.wait());
    Program next = velmora(host("http://127.0.0.1:1/"));
    EXPECT_EQ(6U, events(next)) << "two of the time before, and two of each start";
}

TEST_F(BadInputTest, AnswersThatNoServiceShouldGive) {
    const std::string gzip = "Content-Encoding: gzip\r\n";
    struct Case {
        std::string answer;
        std::string says; // empty: the events were taken
    };
    const std::string cut("\x1f\x8b\x08\0\0\0\0\0\0\x03\xab", 11);
    const Case cases[] = {
        {httpResponse("200 OK", ""), ""},
        {httpResponse("200 OK", "{\"a\":\"" + std::string(2 << 20, 'x') + "\"}"),
         "longer than 1048576 bytes"},
        {httpResponse("200 OK", cut, gzip), "damaged or ends too early"},
        {httpResponse("200 OK", "7"), "JSON text did not start with array or object"},
        {httpResponse("302 Found", "", "Location: http://127.0.0.1:1/\r\n"), "status code 302"},
        {httpResponse("401 Unauthorized", "{}"),
         "] [VMRLocusKit] Warning! Failed to connect to server - Incorrect key"},
        {"", "The network connection was lost."},
        {"HTTP/1.1 200 OK\r\n", "the response ended within its headers"},
        {"HTTP/1.1 200 OK\r\nX: " + std::string(300'000, 'x') + "\r\n\r\n",
         "resource exceeds maximum size"},
    };
    for (const Case &each : cases) {
        makeStore();
        RawServer server([&](RawServer::Connection &connection) {
            connection.readRequest();
            connection.write(each.answer);
        });
        Program program = velmora(host(server.address(), {"--info", "VMRLogsEnabled=true"}));
        ask(program, "foreground");
        EXPECT_EQ(true, ask(program, "settle 25")["settled"]) << each.says;
        EXPECT_EQ(each.says.empty() ? 0U : 4U, events(program)) << each.answer.substr(0, 80);
        EXPECT_THAT(program.errors(), HasSubstr(each.says));
        EXPECT_EQ(1U, server.connections());
        expectGoesOn(program);
    }
}

TEST_F(BadInputTest, WordsThatMakeNoSense) {
    struct Case {
        std::vector<std::string> words;
        const char *says;
    };
    const Case cases[] = {
        {{"dance"}, "velmora: \"dance\" is not a subcommand; see velmora --help\n"},
        {{"igest"}, "\"igest\" is not a subcommand, perhaps ingest is meant"},
        {{"prefs", "gte", "--store", store()},
         "velmora prefs: \"gte\" is not a subcommand, perhaps "
         "get is meant; see velmora prefs --help\n"},
        {{"prefs", "get", "--stroe", store(), "K"},
         "velmora prefs get: \"--stroe\" is not an "
         "option, perhaps --store is meant"},
        {{"run", "--ingset=http://127.0.0.1:1/"},
         "\"--ingset\" is not an option, perhaps "
         "--ingest is meant"},
        {{"prefs", "set", "--store", store(), "K", "-v"}, "put -- before a value"},
        {{"prefs", "get", "--store"}, "velmora prefs get: --store: 1 required"},
        {{"run", "--ingest", "foo", "--store", store()},
         "velmora run: --ingest: the ingest base "
         "address \"foo\" is refused"},
    };
    for (const Case &each : cases) {
        Program program = velmora(each.words);
        EXPECT_EQ(2, program.wait()) << each.says;
        EXPECT_THAT(program.errors(), HasSubstr(each.says));
        EXPECT_EQ("", program.rest());
    }
    for (const std::vector<std::string> &words : {std::vector<std::string>{}, {"prefs"}}) {
        Program program = velmora(words);
        EXPECT_THAT(program.rest(), HasSubstr("Subcommands:"));
        EXPECT_EQ(2, program.wait());
    }
}

TEST_F(BadInputTest, ShowsWhatCannotBeSeen) {
    // An escape sequence, DEL, a C1 control, a mark that turns the direction, a line separator.
    const std::string hostile = "a\x1b[31m\x7f\xc2\x9b\xe2\x80\xae\xe2\x80\xa8z";
    const std::string shown = R"(a\u001b[31m\u007f\u009b\u202e\u2028z)";
    fs::create_directory(folder_.file("inner"));
    fs::permissions(folder_.file("inner"), fs::perms::owner_all);
    Program set = velmora({"prefs", "set", hostile, hostile, "--store", store()});
    const std::string line = set.rest();
    EXPECT_EQ(line, "{\"key\":\"" + shown + "\",\"value\":\"" + shown + "\"}\n");
    EXPECT_EQ(json::parse(line)["value"], hostile);

    Program doctor = velmora({"doctor", "--store", "/" + hostile + "\n/x"});
    EXPECT_THAT(doctor.rest(), AllOf(HasSubstr("/" + shown + "\\u000a/x"), Not(HasSubstr("\x1b"))));
    for (const std::vector<std::string> &words :
         {std::vector{hostile}, {"tcf", "--" + hostile}, {"ingest", "--listen", hostile}}) {
        Program refusing = velmora(words);
        EXPECT_NE(refusing.wait(), 0);
        EXPECT_THAT(refusing.errors(), HasSubstr(shown));
    }
}

} // namespace
} // namespace vmr::test
