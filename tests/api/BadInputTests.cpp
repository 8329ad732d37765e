#include "api/HostFixture.h"

#include <cerrno>
#include <cmath>
#include <functional>

namespace vmr::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

struct Case {
    const char *name;
    velmora_result expected;
    std::function<velmora_result()> call;
};

/// Each call ends with its result, says why, and leaves errno alone.
void expectAll(const std::vector<Case> &cases) {
    for (const Case &each : cases) {
        errno = 4711;
        EXPECT_EQ(each.expected, each.call()) << each.name << ": " << velmora_last_error_message();
        EXPECT_EQ(4711, errno) << each.name;
        if (each.expected == VELMORA_OK)
            EXPECT_THAT(std::string(velmora_last_error_message()), IsEmpty()) << each.name;
        else
            EXPECT_THAT(std::string(velmora_last_error_message()), Not(IsEmpty())) << each.name;
        EXPECT_THAT(std::string(velmora_strerror(each.expected)), Not(IsEmpty()));
    }
}

constexpr const char *notUTF8 = "a\xff";

TEST_F(HostTest, EveryPreferencesCallRefusesBadKeysAndValues) {
    configure();
    const std::string longKey(VELMORA_MAX_KEY_LENGTH + 1, 'k');
    const std::string longText(VELMORA_MAX_VALUE_LENGTH + 1, 't');
    char *text = nullptr;
    char **keys = nullptr;
    void *bytes = nullptr;
    size_t length = 0;
    int64_t integer = 0;
    double real = 0;
    int boolean = 0;

    const std::pair<const char *, std::function<velmora_result(const char *)>> withKey[] = {
        {"set_string", [](const char *k) { return velmora_preferences_set_string(k, "t"); }},
        {"set_text", [](const char *k) { return velmora_preferences_set_text(k, "t", 1); }},
        {"set_integer", [](const char *k) { return velmora_preferences_set_integer(k, 1); }},
        {"set_real", [](const char *k) { return velmora_preferences_set_real(k, 1); }},
        {"set_boolean", [](const char *k) { return velmora_preferences_set_boolean(k, 1); }},
        {"set_date", [](const char *k) { return velmora_preferences_set_date(k, 1); }},
        {"set_data", [](const char *k) { return velmora_preferences_set_data(k, "d", 1); }},
        {"set_json", [](const char *k) { return velmora_preferences_set_json(k, "1"); }},
        {"get_string",
         [&](const char *k) { return velmora_preferences_get_string(k, &text, &length); }},
        {"get_integer",
         [&](const char *k) { return velmora_preferences_get_integer(k, &integer); }},
        {"get_real", [&](const char *k) { return velmora_preferences_get_real(k, &real); }},
        {"get_boolean",
         [&](const char *k) { return velmora_preferences_get_boolean(k, &boolean); }},
        {"get_date", [&](const char *k) { return velmora_preferences_get_date(k, &real); }},
        {"get_data",
         [&](const char *k) { return velmora_preferences_get_data(k, &bytes, &length); }},
        {"get_json", [&](const char *k) { return velmora_preferences_get_json(k, &text); }},
        {"remove", [](const char *k) { return velmora_preferences_remove(k); }},
    };
    for (const auto &function : withKey) {
        const char *name = function.first;
        const bool reads = std::string(name).starts_with("get");
        expectAll({
            {name, VELMORA_INVALID_ARGUMENT, [&] { return function.second(""); }},
            {name, VELMORA_INVALID_ARGUMENT, [&] { return function.second(nullptr); }},
            {name, VELMORA_INVALID_UTF8, [&] { return function.second(notUTF8); }},
            {name, VELMORA_TOO_LONG, [&] { return function.second(longKey.c_str()); }},
            {name, reads ? VELMORA_NOT_FOUND : VELMORA_OK,
             [&] { return function.second(longKey.c_str() + 1); }},
        });
        velmora_preferences_remove(longKey.c_str() + 1);
    }

    velmora_preferences_set_string("text", "t");
    velmora_preferences_set_integer("integer", 1);
    expectAll({
        {"set_string NULL", VELMORA_INVALID_ARGUMENT,
         [] { return velmora_preferences_set_string("k", nullptr); }},
        {"set_string bytes", VELMORA_INVALID_UTF8,
         [] { return velmora_preferences_set_string("k", notUTF8); }},
        {"set_string long", VELMORA_TOO_LONG,
         [&] { return velmora_preferences_set_string("k", longText.c_str()); }},
        {"set_text NULL", VELMORA_INVALID_ARGUMENT,
         [] { return velmora_preferences_set_text("k", nullptr, 0); }},
        {"set_text huge", VELMORA_TOO_LONG,
         [] { return velmora_preferences_set_text("k", "t", SIZE_MAX); }},
        {"set_real nan", VELMORA_INVALID_ARGUMENT,
         [] { return velmora_preferences_set_real("k", std::nan("")); }},
        {"set_date inf", VELMORA_INVALID_ARGUMENT,
         [] { return velmora_preferences_set_date("k", HUGE_VAL); }},
        {"set_data NULL", VELMORA_INVALID_ARGUMENT,
         [] { return velmora_preferences_set_data("k", nullptr, 1); }},
        {"set_data huge", VELMORA_TOO_LONG,
         [] { return velmora_preferences_set_data("k", "d", SIZE_MAX); }},
        {"set_json NULL", VELMORA_INVALID_ARGUMENT,
         [] { return velmora_preferences_set_json("k", nullptr); }},
        {"set_json cut", VELMORA_INVALID_ARGUMENT,
         [] { return velmora_preferences_set_json("k", "{\"a\":"); }},
        {"set_json tag", VELMORA_INVALID_ARGUMENT,
         [] { return velmora_preferences_set_json("k", R"({"$date":"soon"})"); }},
        {"set_json bytes", VELMORA_INVALID_UTF8,
         [] { return velmora_preferences_set_json("k", "\"\xff\""); }},
        {"nothing of that stored", VELMORA_NOT_FOUND,
         [&] { return velmora_preferences_get_json("k", &text); }},
        {"get_string NULL", VELMORA_INVALID_ARGUMENT,
         [] { return velmora_preferences_get_string("text", nullptr, nullptr); }},
        {"get_integer NULL", VELMORA_INVALID_ARGUMENT,
         [] { return velmora_preferences_get_integer("integer", nullptr); }},
        {"get_real NULL", VELMORA_INVALID_ARGUMENT,
         [] { return velmora_preferences_get_real("text", nullptr); }},
        {"get_boolean NULL", VELMORA_INVALID_ARGUMENT,
         [] { return velmora_preferences_get_boolean("text", nullptr); }},
        {"get_date NULL", VELMORA_INVALID_ARGUMENT,
         [] { return velmora_preferences_get_date("text", nullptr); }},
        {"get_data NULL", VELMORA_INVALID_ARGUMENT,
         [&] { return velmora_preferences_get_data("text", &bytes, nullptr); }},
        {"get_json NULL", VELMORA_INVALID_ARGUMENT,
         [] { return velmora_preferences_get_json("text", nullptr); }},
        {"get_string of integer", VELMORA_WRONG_TYPE,
         [&] { return velmora_preferences_get_string("integer", &text, nullptr); }},
        {"get_integer of text", VELMORA_WRONG_TYPE,
         [&] { return velmora_preferences_get_integer("text", &integer); }},
        {"get_real of integer", VELMORA_WRONG_TYPE,
         [&] { return velmora_preferences_get_real("integer", &real); }},
        {"get_boolean of integer", VELMORA_WRONG_TYPE,
         [&] { return velmora_preferences_get_boolean("integer", &boolean); }},
        {"get_date of text", VELMORA_WRONG_TYPE,
         [&] { return velmora_preferences_get_date("text", &real); }},
        {"get_data of text", VELMORA_WRONG_TYPE,
         [&] { return velmora_preferences_get_data("text", &bytes, &length); }},
        {"keys NULL", VELMORA_INVALID_ARGUMENT,
         [] { return velmora_preferences_keys(nullptr, nullptr); }},
        {"keys", VELMORA_OK, [&] { return velmora_preferences_keys(&keys, nullptr); }},
    });
    EXPECT_STREQ("integer", keys[0]);
    EXPECT_STREQ("text", keys[1]);
    EXPECT_EQ(nullptr, keys[2]);
    velmora_free(keys);
    EXPECT_EQ(nullptr, text);
    EXPECT_EQ(nullptr, bytes);
}

TEST_F(HostTest, EveryOtherCallRefusesBadArguments) {
    configure();
    const std::string longKey(VELMORA_MAX_KEY_LENGTH + 1, 'k');
    velmora_observer *observer = nullptr;
    const velmora_preferences_callback ignore = [](const char *, const char *, const char *,
                                                   void *) {};
    int settled = 7;
    expectAll({
        {"start bytes", VELMORA_INVALID_UTF8, [] { return velmora_start(notUTF8, nullptr); }},
        {"start secret bytes", VELMORA_INVALID_UTF8, [] { return velmora_start("k", notUTF8); }},
        {"start long", VELMORA_TOO_LONG, [&] { return velmora_start(longKey.c_str(), "s"); }},
        {"descriptor NULL", VELMORA_INVALID_ARGUMENT,
         [] { return velmora_run_loop_descriptor(nullptr); }},
        {"run nan", VELMORA_INVALID_ARGUMENT, [] { return velmora_run_loop_run(std::nan("")); }},
        {"run_until_idle NULL", VELMORA_INVALID_ARGUMENT,
         [] { return velmora_run_loop_run_until_idle(0, nullptr); }},
        {"run_until_idle inf", VELMORA_INVALID_ARGUMENT,
         [&] { return velmora_run_loop_run_until_idle(HUGE_VAL, &settled); }},
        {"observe without callback", VELMORA_INVALID_ARGUMENT,
         [&] { return velmora_preferences_observe("k", nullptr, nullptr, nullptr, &observer); }},
        {"observe without handle", VELMORA_INVALID_ARGUMENT,
         [&] { return velmora_preferences_observe("k", ignore, nullptr, nullptr, nullptr); }},
        {"observe empty", VELMORA_INVALID_ARGUMENT,
         [&] { return velmora_preferences_observe("", ignore, nullptr, nullptr, &observer); }},
        {"observe bytes", VELMORA_INVALID_UTF8,
         [&] { return velmora_preferences_observe(notUTF8, ignore, nullptr, nullptr, &observer); }},
        {"unobserve NULL", VELMORA_OK, [] { return velmora_preferences_unobserve(nullptr); }},
        {"status NULL", VELMORA_INVALID_ARGUMENT, [] { return velmora_status_json(nullptr); }},
        {"diagnose NULL", VELMORA_INVALID_ARGUMENT, [] { return velmora_diagnose_json(nullptr); }},
        {"device_response NULL", VELMORA_INVALID_ARGUMENT,
         [] { return velmora_device_response(nullptr); }},
        {"device_response scalar", VELMORA_INVALID_ARGUMENT,
         [] { return velmora_device_response("7"); }},
        {"device_response bytes", VELMORA_INVALID_UTF8,
         [] { return velmora_device_response(notUTF8); }},
    });
    EXPECT_EQ(0, settled);
    EXPECT_EQ(0, velmora_is_started());
    velmora_free(nullptr);
    EXPECT_STREQ("unknown result", velmora_strerror(-1));
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
        {"init NULL", VELMORA_INVALID_ARGUMENT,
         [] { return velmora_options_init(nullptr, sizeof(velmora_options)); }},
        {"init 0", VELMORA_INVALID_ARGUMENT, [&] { return velmora_options_init(&given, 0); }},
        {"init huge", VELMORA_INVALID_ARGUMENT,
         [&] { return velmora_options_init(&given, SIZE_MAX); }},
        {"NULL", VELMORA_INVALID_ARGUMENT, [] { return velmora_configure(nullptr); }},
        {"size 0", VELMORA_INVALID_ARGUMENT, [&] { return with([](auto &o) { o.size = 0; }); }},
        {"size huge", VELMORA_INVALID_ARGUMENT,
         [&] { return with([](auto &o) { o.size = SIZE_MAX; }); }},
        {"store empty", VELMORA_INVALID_ARGUMENT,
         [&] { return with([](auto &o) { o.store_path = ""; }); }},
        {"store bytes", VELMORA_INVALID_UTF8,
         [&] { return with([](auto &o) { o.store_path = notUTF8; }); }},
        {"store long", VELMORA_TOO_LONG,
         [&] { return with([&](auto &o) { o.store_path = longText.c_str(); }); }},
        {"information no object", VELMORA_INVALID_ARGUMENT,
         [&] { return with([](auto &o) { o.information_dictionary = "[]"; }); }},
        {"idfv", VELMORA_INVALID_ARGUMENT,
         [&] { return with([](auto &o) { o.identifier_for_vendor = "7"; }); }},
        {"tracking", VELMORA_INVALID_ARGUMENT,
         [&] { return with([](auto &o) { o.tracking_status = 4; }); }},
        {"flag", VELMORA_INVALID_ARGUMENT,
         [&] { return with([](auto &o) { o.allow_proxy = 2; }); }},
        {"good", VELMORA_OK, [&] { return with([](auto &) {}); }},
        {"again", VELMORA_INVALID_STATE, [&] { return with([](auto &) {}); }},
        {"use", VELMORA_OK, [] { return velmora_preferences_set_string("k", "t"); }},
    });
    const std::string elsewhere = folder_ + "/elsewhere.db";
    given.store_path = elsewhere.c_str();
    EXPECT_EQ(VELMORA_INVALID_STATE, velmora_configure(&given));
    EXPECT_THAT(velmora_last_error_message(), HasSubstr("before"));
    velmora_preferences_synchronize();
    EXPECT_TRUE(std::filesystem::exists(store_));
    EXPECT_FALSE(std::filesystem::exists(elsewhere));
}

} // namespace
TEST_F(HostTest, SynchronizingAStoreThatCannotBeUsedSucceeded) {
    std::filesystem::create_directory(store_);
    configure();
    EXPECT_EQ(VELMORA_OK, velmora_preferences_set_string("k", "t"));
    const VelmoraKit::Result result =
        VelmoraKit::Velmora::sharedVelmora().preferences().synchronize();
    EXPECT_EQ(VELMORA_STORE_UNAVAILABLE, result.code());
    EXPECT_THAT(result.message(), HasSubstr("could not be made durable"));
}

} // namespace vmr::test
