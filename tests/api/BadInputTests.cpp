#include "api/HostFixture.h"

#include <cerrno>
#include <cmath>
#include <functional>
#include <tuple>
#include <utility>
#include <vector>

namespace vmr::test {
namespace {

using testing::HasSubstr;

using Case = std::tuple<const char *, velmora_result, std::function<velmora_result()>>;
using KeyedCall = std::pair<const char *, std::function<velmora_result(const char *)>>;

#define CALL(result, call) Case(#call, result, [&] { return call; })
#define WITH_KEY(call) KeyedCall(#call, [&](const char *k) { return call; })
#define OPTION(result, member) CALL(result, with([&](auto &o) { o.member; }))

/// Each call ends with its result, says why in the recorded words, and leaves errno alone.
void expectAll(const std::vector<Case> &cases) {
    for (const auto &[name, expected, call] : cases) {
        errno = 4711;
        EXPECT_EQ(expected, call()) << name << ": " << velmora_last_error_message();
        EXPECT_EQ(4711, errno) << name;
        const std::string message = velmora_last_error_message();
        EXPECT_EQ(expected == VELMORA_OK, message.empty()) << name;
        if (!message.empty())
            expectRecorded(std::string(name) + " -> " + velmora_strerror(expected) + ": " +
                           message);
    }
}

constexpr const char *notUTF8 = "a\xff";

/// Where the getters put what they find. Nothing is there as long as all they do is fail.
class BadPreferencesTest : public HostTest {
protected:
    BadPreferencesTest() {
        configure();
        velmora_preferences_set_string("text", "t");
        velmora_preferences_set_integer("integer", 1);
    }
    ~BadPreferencesTest() override {
        EXPECT_EQ(nullptr, text);
        EXPECT_EQ(nullptr, bytes);
    }

    char *text = nullptr;
    void *bytes = nullptr;
    size_t length = 0;
    int64_t integer = 0;
    double real = 0;
    int boolean = 0;
};

TEST_F(BadPreferencesTest, EveryCallRefusesBadKeys) {
    const std::string longKey(VELMORA_MAX_KEY_LENGTH + 1, 'k');
    const KeyedCall withKey[] = {
        WITH_KEY(velmora_preferences_set_string(k, "t")),
        WITH_KEY(velmora_preferences_set_text(k, "t", 1)),
        WITH_KEY(velmora_preferences_set_integer(k, 1)),
        WITH_KEY(velmora_preferences_set_real(k, 1)),
        WITH_KEY(velmora_preferences_set_boolean(k, 1)),
        WITH_KEY(velmora_preferences_set_date(k, 1)),
        WITH_KEY(velmora_preferences_set_data(k, "d", 1)),
        WITH_KEY(velmora_preferences_set_json(k, "1")),
        WITH_KEY(velmora_preferences_get_string(k, &text, &length)),
        WITH_KEY(velmora_preferences_get_integer(k, &integer)),
        WITH_KEY(velmora_preferences_get_real(k, &real)),
        WITH_KEY(velmora_preferences_get_boolean(k, &boolean)),
        WITH_KEY(velmora_preferences_get_date(k, &real)),
        WITH_KEY(velmora_preferences_get_data(k, &bytes, &length)),
        WITH_KEY(velmora_preferences_get_json(k, &text)),
        WITH_KEY(velmora_preferences_remove(k)),
        WITH_KEY(velmora_preferences_set_string_on_main_loop(k, "t")),
        WITH_KEY(velmora_preferences_set_json_on_main_loop(k, "1")),
        WITH_KEY(velmora_preferences_remove_on_main_loop(k)),
    };
    for (const KeyedCall &each : withKey) {
        SCOPED_TRACE(each.first);
        const bool reads = std::string(each.first).starts_with("velmora_preferences_get");
        expectAll({
            CALL(VELMORA_INVALID_ARGUMENT, each.second("")),
            CALL(VELMORA_INVALID_ARGUMENT, each.second(nullptr)),
            CALL(VELMORA_INVALID_UTF8, each.second(notUTF8)),
            CALL(VELMORA_TOO_LONG, each.second(longKey.c_str())),
            CALL(reads ? VELMORA_NOT_FOUND : VELMORA_OK, each.second(longKey.c_str() + 1)),
        });
        velmora_preferences_remove(longKey.c_str() + 1);
    }
}

TEST_F(BadPreferencesTest, SettersRefuseBadValues) {
    const std::string longText(VELMORA_MAX_VALUE_LENGTH + 1, 't');
    expectAll({
        CALL(VELMORA_INVALID_ARGUMENT, velmora_preferences_set_string("k", nullptr)),
        CALL(VELMORA_INVALID_UTF8, velmora_preferences_set_string("k", notUTF8)),
        CALL(VELMORA_TOO_LONG, velmora_preferences_set_string("k", longText.c_str())),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_preferences_set_text("k", nullptr, 0)),
        CALL(VELMORA_TOO_LONG, velmora_preferences_set_text("k", "t", SIZE_MAX)),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_preferences_set_real("k", std::nan(""))),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_preferences_set_date("k", HUGE_VAL)),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_preferences_set_data("k", nullptr, 1)),
        CALL(VELMORA_TOO_LONG, velmora_preferences_set_data("k", "d", SIZE_MAX)),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_preferences_set_json("k", nullptr)),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_preferences_set_json("k", "{\"a\":")),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_preferences_set_json("k", R"({"$date":"soon"})")),
        CALL(VELMORA_INVALID_UTF8, velmora_preferences_set_json("k", "\"\xff\"")),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_preferences_set_string_on_main_loop("k", nullptr)),
        CALL(VELMORA_TOO_LONG, velmora_preferences_set_string_on_main_loop("k", longText.c_str())),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_preferences_set_json_on_main_loop("k", "{")),
        CALL(VELMORA_OK, velmora_run_loop_process()),
        CALL(VELMORA_NOT_FOUND, velmora_preferences_get_json("k", &text)),
    });
}

TEST_F(BadPreferencesTest, GettersNeedAPlaceForTheValue) {
    expectAll({
        CALL(VELMORA_INVALID_ARGUMENT, velmora_preferences_get_string("text", nullptr, nullptr)),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_preferences_get_integer("integer", nullptr)),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_preferences_get_real("text", nullptr)),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_preferences_get_boolean("text", nullptr)),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_preferences_get_date("text", nullptr)),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_preferences_get_data("text", &bytes, nullptr)),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_preferences_get_json("text", nullptr)),
    });
}

TEST_F(BadPreferencesTest, GettersTellAValueOfAnotherType) {
    ASSERT_EQ(VELMORA_OK, velmora_preferences_set_json("large", "9223372036854775808"));
    expectAll({
        CALL(VELMORA_WRONG_TYPE, velmora_preferences_get_integer("large", &integer)),
        CALL(VELMORA_WRONG_TYPE, velmora_preferences_get_string("integer", &text, nullptr)),
        CALL(VELMORA_WRONG_TYPE, velmora_preferences_get_integer("text", &integer)),
        CALL(VELMORA_WRONG_TYPE, velmora_preferences_get_real("integer", &real)),
        CALL(VELMORA_WRONG_TYPE, velmora_preferences_get_boolean("integer", &boolean)),
        CALL(VELMORA_WRONG_TYPE, velmora_preferences_get_date("text", &real)),
        CALL(VELMORA_WRONG_TYPE, velmora_preferences_get_data("text", &bytes, &length)),
    });
}

TEST_F(BadPreferencesTest, KeysCanBeAskedForWithoutTheirNumber) {
    char **keys = nullptr;
    expectAll({
        CALL(VELMORA_INVALID_ARGUMENT, velmora_preferences_keys(nullptr, nullptr)),
        CALL(VELMORA_OK, velmora_preferences_keys(&keys, nullptr)),
    });
    EXPECT_STREQ("integer", keys[0]);
    EXPECT_STREQ("text", keys[1]);
    EXPECT_EQ(nullptr, keys[2]);
    velmora_free(keys);
}

TEST_F(HostTest, EveryOtherCallRefusesBadArguments) {
    configure();
    const std::string longKey(VELMORA_MAX_KEY_LENGTH + 1, 'k');
    velmora_observer *observer = nullptr;
    const velmora_preferences_callback ignore = [](const char *, const char *, const char *,
                                                   void *) {};
    int settled = 7;
    expectAll({
        CALL(VELMORA_INVALID_UTF8, velmora_start(notUTF8, nullptr)),
        CALL(VELMORA_INVALID_UTF8, velmora_start("k", notUTF8)),
        CALL(VELMORA_TOO_LONG, velmora_start(longKey.c_str(), "s")),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_run_loop_descriptor(nullptr)),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_run_loop_run(std::nan(""))),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_run_loop_run_until_idle(0, nullptr)),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_run_loop_run_until_idle(HUGE_VAL, &settled)),
        CALL(VELMORA_INVALID_ARGUMENT,
             velmora_preferences_observe("k", nullptr, nullptr, nullptr, &observer)),
        CALL(VELMORA_INVALID_ARGUMENT,
             velmora_preferences_observe("k", ignore, nullptr, nullptr, nullptr)),
        CALL(VELMORA_INVALID_ARGUMENT,
             velmora_preferences_observe("", ignore, nullptr, nullptr, &observer)),
        CALL(VELMORA_INVALID_UTF8,
             velmora_preferences_observe(notUTF8, ignore, nullptr, nullptr, &observer)),
        CALL(VELMORA_OK, velmora_preferences_unobserve(nullptr)),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_status_json(nullptr)),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_diagnose_json(nullptr)),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_device_response(nullptr)),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_device_response("7")),
        CALL(VELMORA_INVALID_UTF8, velmora_device_response(notUTF8)),
    });
    EXPECT_EQ(0, settled);
    EXPECT_EQ(0, velmora_is_started());
    velmora_free(nullptr);
    for (const int unknown : {-1, VELMORA_STORE_UNAVAILABLE + 1})
        EXPECT_STREQ("unknown result", velmora_strerror(unknown)) << unknown;
}

TEST_F(HostTest, OptionsAreCheckedAndTakenOnlyBeforeTheFirstUse) {
    velmora_options given = options();
    const auto with = [&](auto change) {
        velmora_options changed = options();
        change(changed);
        return velmora_configure(&changed);
    };
    const std::string longText(VELMORA_MAX_OPTION_LENGTH + 1, 't');
    expectAll({
        CALL(VELMORA_INVALID_ARGUMENT, velmora_options_init(nullptr, sizeof(velmora_options))),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_options_init(&given, 0)),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_options_init(&given, SIZE_MAX)),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_configure(nullptr)),
        OPTION(VELMORA_INVALID_ARGUMENT, size = 0),
        OPTION(VELMORA_INVALID_ARGUMENT, size = SIZE_MAX),
        OPTION(VELMORA_INVALID_ARGUMENT, store_path = ""),
        OPTION(VELMORA_INVALID_UTF8, store_path = notUTF8),
        OPTION(VELMORA_TOO_LONG, store_path = longText.c_str()),
        OPTION(VELMORA_INVALID_ARGUMENT, information_dictionary = "[]"),
        OPTION(VELMORA_INVALID_ARGUMENT, identifier_for_vendor = "7"),
        OPTION(VELMORA_INVALID_ARGUMENT, tracking_status = 4),
        OPTION(VELMORA_INVALID_ARGUMENT, app_version = ""),
        OPTION(VELMORA_INVALID_ARGUMENT, bundle_identifier = ""),
        OPTION(VELMORA_INVALID_ARGUMENT, ingest_base_address = ""),
        OPTION(VELMORA_INVALID_ARGUMENT, information_dictionary = "{"),
        OPTION(VELMORA_INVALID_ARGUMENT, system_version = ""),
        OPTION(VELMORA_INVALID_ARGUMENT, advertising_identifier = ""),
        OPTION(VELMORA_INVALID_ARGUMENT, certificate_authority_file = ""),
        OPTION(VELMORA_INVALID_ARGUMENT, pinned_public_key = "sha256//"),
        OPTION(VELMORA_INVALID_ARGUMENT, allow_proxy = 2),
        OPTION(VELMORA_INVALID_ARGUMENT, legacy_tracking = 2),
        OPTION(VELMORA_INVALID_ARGUMENT, store_companion = 2),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_configure_json(nullptr)),
        CALL(VELMORA_INVALID_UTF8, velmora_configure_json("{\"a\":\"\xff\"}")),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_configure_json("[]")),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_configure_json(R"({"storePath":"x"})")),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_configure_json(R"({"log_callback":0})")),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_configure_json(R"({"store_path":7})")),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_configure_json(R"({"store_path":"a\u0000b"})")),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_configure_json(R"({"store_path":""})")),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_configure_json(R"({"keep_unsent":"yes"})")),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_configure_json(R"({"keep_unsent":4294967296})")),
        CALL(VELMORA_INVALID_ARGUMENT, velmora_configure_json(R"({"tracking_status":-1})")),
        CALL(VELMORA_OK, with([](auto &) {})),
        CALL(VELMORA_INVALID_STATE, with([](auto &) {})),
        CALL(VELMORA_INVALID_STATE, velmora_configure_json("{}")),
        CALL(VELMORA_OK, velmora_preferences_set_string("k", "t")),
    });
    const std::string elsewhere = folder_.file("elsewhere.db");
    given.store_path = elsewhere.c_str();
    EXPECT_EQ(VELMORA_INVALID_STATE, velmora_configure(&given));
    EXPECT_THAT(velmora_last_error_message(), HasSubstr("before"));
    velmora_preferences_synchronize();
    EXPECT_TRUE(std::filesystem::exists(store_));
    EXPECT_FALSE(std::filesystem::exists(elsewhere));
}

TEST_F(HostTest, SynchronizingAStoreThatCannotBeUsedFails) {
    std::filesystem::create_directory(store_);
    configure();
    EXPECT_EQ(VELMORA_OK, velmora_preferences_set_string("k", "t"));
    const VelmoraKit::Result result =
        VelmoraKit::Velmora::sharedVelmora().preferences().synchronize();
    EXPECT_EQ(VELMORA_STORE_UNAVAILABLE, result.code());
    EXPECT_THAT(result.message(), HasSubstr("could not be made durable"));
}

} // namespace
} // namespace vmr::test
