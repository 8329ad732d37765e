#include "tools/Velmora.h"

#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>
#include <sstream>

namespace vmr::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;

class PrefsTests : public testing::Test {
protected:
    std::string store() const { return folder_.file("store.db"); }

    std::vector<std::string> prefs(std::vector<std::string> words) const {
        words.insert(words.begin(), "prefs");
        words.insert(words.begin() + 2, {"--store", store()}); // "--" ends the options
        return words;
    }
    /// The lines that a command answers; checks that it succeeds.
    json run(std::vector<std::string> words) const {
        Program program = velmora(prefs(std::move(words)));
        std::istringstream output(program.rest());
        EXPECT_EQ(program.wait(), 0) << program.errors();
        json lines = json::array();
        for (std::string line; std::getline(output, line);)
            lines.push_back(json::parse(line));
        return lines;
    }
    /// What a command that fails says.
    std::string failure(std::vector<std::string> words, int status = 1) const {
        Program program = velmora(prefs(std::move(words)));
        EXPECT_EQ(program.wait(), status);
        EXPECT_EQ(program.rest(), "");
        return program.errors();
    }

    TemporaryFolder folder_;
};

json line(const json &key, const json &value) {
    return json::array({{{"key", key}, {"value", value}}});
}

TEST_F(PrefsTests, ReadsWhatAnotherProcessWrote) {
    EXPECT_EQ(run({"set", "text", "CPc first"}), line("text", "CPc first"));
    EXPECT_EQ(run({"set", "--type", "integer", "number", "--", "-7"}), line("number", -7));
    EXPECT_EQ(run({"get", "number"}), line("number", -7));
    EXPECT_EQ(run({"list"}).size(), 2U);
    EXPECT_EQ(run({"remove", "number"}), line("number", nullptr));
    EXPECT_EQ(run({"get", "number"}), line("number", nullptr));
    Program absent = velmora(prefs({"get", "--exit-code", "number"}));
    EXPECT_EQ(json::parse(absent.rest()), line("number", nullptr)[0]);
    EXPECT_EQ(1, absent.wait());
    EXPECT_EQ(run({"get", "--exit-code", "text"}), line("text", "CPc first"));
    EXPECT_EQ(run({"list"}), line("text", "CPc first"));
}

TEST_F(PrefsTests, WatchesWhatOtherProcessesDo) {
    run({"set", "a", "1"});
    Program all = velmora(prefs({"watch"}));
    Program one = velmora(prefs({"watch", "a"}));
    for (Program *watcher : {&all, &one})
        EXPECT_EQ(watcher->read(), json({{"watching", store()}}));
    const json changed = {{"key", "a"}, {"value", "3"}, {"old", "1"}};
    const json removed = {{"key", "a"}, {"value", nullptr}, {"old", "3"}};
    run({"set", "b", "2"});
    EXPECT_EQ(all.read(), json({{"key", "b"}, {"value", "2"}, {"old", nullptr}}));
    // Each change is waited for: two of a key that come close together may be seen as one.
    run({"set", "a", "3"});
    EXPECT_EQ(all.read(), changed);
    EXPECT_EQ(one.read(), changed);
    run({"remove", "a"});
    EXPECT_EQ(all.read(), removed);
    EXPECT_EQ(one.read(), removed);
    for (Program *watcher : {&all, &one}) {
        watcher->signal(SIGTERM);
        EXPECT_EQ(watcher->wait(), 0);
    }
}

TEST_F(PrefsTests, SaysWhyItCannotDoSomething) {
    for (const char *command : {"list", "watch"})
        EXPECT_THAT(failure({command}), HasSubstr("there is no preferences file"));
    EXPECT_THAT(failure({"get", "a"}), HasSubstr("there is no preferences file"));
    EXPECT_FALSE(std::filesystem::exists(store()));

    EXPECT_THAT(failure({"set", "a", "x", "--type", "integer"}, 2),
                HasSubstr("\"x\" is not a valid integer"));
    EXPECT_THAT(failure({"set", "a", "x", "--type", "text"}, 2), HasSubstr("boolean, date, data"));
    EXPECT_THAT(failure({"set", "a", "zz", "--type", "data"}, 2),
                HasSubstr("\"zz\" is not data; write pairs"));
    EXPECT_THAT(failure({"set", "a", "2026-11-22", "--type", "date"}, 2),
                HasSubstr("seconds since 1970"));
    EXPECT_THAT(failure({"set", "", "x"}, 2), HasSubstr("key"));

    // A file that cannot be used must not look as if it had been written.
    std::filesystem::remove(store());
    std::filesystem::create_directory(store());
    EXPECT_THAT(failure({"set", "a", "b"}), HasSubstr("store.db"));
}

} // namespace
} // namespace vmr::test
