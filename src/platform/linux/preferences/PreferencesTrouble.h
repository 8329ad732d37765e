#pragma once

#include "platform/Format.h"

#include <initializer_list>
#include <string>
#include <string_view>

namespace vmr {

/// Why the preferences file cannot be used just now, told so that a person can act. Thrown by what
/// works on the file, and kept by PreferencesDisk.
struct PreferencesTrouble {
    enum class Kind {
        none,
        refused,  ///< stays so until somebody acts: not tried again in this process
        locked,   ///< another process holds it: tried again soon
        failed,   ///< full disk, input or output error: tried again later
        readOnly, ///< its file system is mounted so: can be read, the rest as with `failed`
        damaged   ///< to be set aside and made anew
    };
    Kind kind = Kind::none;
    /// What is wrong and the remedy: "is a symbolic link; ...".
    std::string text;
    /// Perhaps it is this connection's own state, which ends with it.
    bool isOfConnection = false;

    explicit operator bool() const noexcept { return kind != Kind::none; }
};

/// Throws one, with a text as `formatText` makes it.
[[noreturn]] void fail(PreferencesTrouble::Kind kind, std::string_view text,
                       std::initializer_list<FormatArgument> arguments = {});
/// The same for an errno, whose own words and remedy are added; a full disk is told apart.
[[noreturn]] void failWith(int error, std::string_view text,
                           std::initializer_list<FormatArgument> arguments = {});

} // namespace vmr
