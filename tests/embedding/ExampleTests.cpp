#include "support/Program.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace vmr::test {
namespace {

using nlohmann::json;

struct Example {
    const char *name;
    std::vector<std::string> command;
    /// Where the consent string comes from: lines of standard input, or else the first argument.
    bool readsLines;
};

void PrintTo(const Example &example, std::ostream *out) {
    *out << example.name;
}

constexpr const char *consent = "CQtDjkAQtDjkAAfABBENB4FgAPAAAAAAAAYgACLAAAAA.IACP";

class ExampleTest : public testing::TestWithParam<Example> {
protected:
    /// Starts the example, `env` giving it its surroundings.
    Program start(const std::vector<std::string> &arguments = {}) const {
        std::vector<std::string> words = {"/usr/bin/env", "VELMORA_INGEST=" + address_,
                                          "VELMORA_STORE=" + folder_.file("store.db"),
                                          "VELMORA_API_KEY=key", "VELMORA_SECRET=secret"};
        words.insert(words.end(), GetParam().command.begin(), GetParam().command.end());
        words.insert(words.end(), arguments.begin(), arguments.end());
        return Program(words);
    }
    /// Waits for a request that was answered so and holds the consent string.
    bool receives(int answer) {
        for (;;) {
            const json line = service_.read();
            if (!line.contains("items"))
                continue;
            EXPECT_EQ(line["sound"], true) << line;
            if (line["answer"] == answer && line["items"].dump().find(consent) != std::string::npos)
                return true;
        }
    }

    TemporaryFolder folder_;
    Program service_{
        {VELMORA, "ingest", "--api-key", "key", "--secret", "secret", "--answer", "503"}};
    const std::string address_ = service_.read()["listening"];
};

TEST_P(ExampleTest, PostsAConsentAndAtTheNextStartWhatWasRefused) {
    {
        const bool lines = GetParam().readsLines;
        Program host =
            start(lines ? std::vector<std::string>() : std::vector<std::string>{consent});
        if (lines)
            host.write(consent);
        EXPECT_TRUE(receives(503));
    }
    service_.write("answer 200");
    while (service_.read() != nlohmann::json({{"command", "answer"}, {"status", 200}})) {
    }
    Program host = start();
    EXPECT_TRUE(receives(200));
    if (GetParam().readsLines) {
        host.closeInput();
        EXPECT_EQ(host.wait(), 0) << host.errors();
    }
}

std::vector<Example> examples() {
    std::vector<Example> examples = {{"Epoll", {EXAMPLE_EPOLL}, true},
                                     {"CPoll", {EXAMPLE_C_POLL}, true}};
#ifdef EXAMPLE_GLIB
    examples.push_back({"GLib", {EXAMPLE_GLIB}, false});
#endif
#ifdef EXAMPLE_QT
    examples.push_back({"Qt", {"QT_QPA_PLATFORM=offscreen", EXAMPLE_QT}, false});
#endif
#ifdef EXAMPLE_PYTHON
    examples.push_back({"Python",
                        {"LD_LIBRARY_PATH=" LIBRARY_FOLDER, "PYTHONPATH=" MODULE_FOLDER,
                         "PYTHONDONTWRITEBYTECODE=1", EXAMPLE_PYTHON},
                        true});
#endif
    return examples;
}

INSTANTIATE_TEST_SUITE_P(Examples, ExampleTest, testing::ValuesIn(examples()),
                         [](const auto &example) { return example.param.name; });

} // namespace
} // namespace vmr::test
