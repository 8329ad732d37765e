#include "JsonLine.h"
#include "Subcommand.h"
#include "Subcommands.h"
#include "TypedValue.h"
#include "prefs/Store.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace velmora {
namespace {

using nlohmann::ordered_json;
using prefs::Store;

struct Arguments {
    std::string store;
    std::string key;
    std::string text;
    std::string type = "string";
    bool sharedFolder = false;
    bool exitCode = false;
};

constexpr const char *footer =
    R"(Every answer and every change is a line of JSON. Bytes are {"$data":"hexadecimal"}, dates
{"$date":seconds since 1970}. The file may be in use by another process, which sees every change.

Example:
  velmora prefs set IABTCF_TCString CPc... --store app/preferences.sqlite
  velmora prefs get IABTCF_TCString --store app/preferences.sqlite
  velmora prefs watch --store app/preferences.sqlite
)";

void get(const Arguments &arguments) {
    const Store store(arguments.store, true, arguments.sharedFolder);
    const ordered_json value = store.value(arguments.key);
    // A file that could not be read says nothing about its values.
    if (!value.is_null() || !Store::hadTrouble())
        writeLine({{"key", arguments.key}, {"value", value}});
    if (arguments.exitCode && value.is_null())
        throw CLI::RuntimeError(1);
}

void set(const Arguments &arguments) {
    Store store(arguments.store, false, arguments.sharedFolder);
    store.put(arguments.key, arguments.type, arguments.text);
    if (!Store::hadTrouble())
        writeLine({{"key", arguments.key}, {"value", store.value(arguments.key)}});
}

void remove(const Arguments &arguments) {
    Store store(arguments.store, true, arguments.sharedFolder);
    store.remove(arguments.key);
    if (!Store::hadTrouble())
        writeLine({{"key", arguments.key}, {"value", nullptr}});
}

void list(const Arguments &arguments) {
    const Store store(arguments.store, true, arguments.sharedFolder);
    for (const std::string &key : store.keys())
        writeLine({{"key", key}, {"value", store.value(key)}});
}

void watch(const Arguments &arguments) {
    Store(arguments.store, true, arguments.sharedFolder).watch(arguments.key, arguments.store);
}

class Actions {
public:
    explicit Actions(CLI::App &prefs) : prefs_(prefs) {}

    CLI::App &add(const char *name, const char *description, void (*action)(const Arguments &)) {
        CLI::App *command = prefs_.add_subcommand(name, description);
        command->add_option("--store", arguments_->store, "The preferences file")
            ->type_name("FILE")
            ->required();
        command->add_flag("--shared-folder", arguments_->sharedFolder,
                          "Take one where other users can write");
        command->callback([action, arguments = arguments_] {
            action(*arguments);
            if (Store::hadTrouble())
                throw CLI::RuntimeError(1);
        });
        return *command;
    }

    CLI::Option &addKey(CLI::App &command) {
        return *command.add_option("KEY", arguments_->key, "The key")->type_name("");
    }

    Arguments &arguments() { return *arguments_; }

private:
    CLI::App &prefs_;
    std::shared_ptr<Arguments> arguments_ = std::make_shared<Arguments>();
};

} // namespace

void addPrefs(CLI::App &app) {
    CLI::App *prefs = app.add_subcommand("prefs", "Works on a preferences file from outside the "
                                                  "application that it belongs to");
    prefs->require_subcommand(1);
    prefs->footer(footer);
    Actions actions(*prefs);
    CLI::App &getter = actions.add("get", "Writes the value of a key, null when it has none", get);
    actions.addKey(getter).required();
    getter.add_flag("--exit-code", actions.arguments().exitCode,
                    "End with status 1 when it has none");
    CLI::App &setter = actions.add("set", "Sets a key; makes the file where it is missing", set);
    actions.addKey(setter).required();
    setter.add_option("VALUE", actions.arguments().text, "The value")->type_name("")->required();
    setter
        .add_option("--type", actions.arguments().type,
                    std::string("What the value is (default string): ") + typeNames)
        ->type_name("TYPE");
    actions.addKey(actions.add("remove", "Removes a key", remove)).required();
    actions.add("list", "Writes every key with its value", list);
    actions.addKey(
        actions.add("watch", "Writes changes as they happen, until it is interrupted", watch));
}

} // namespace velmora
