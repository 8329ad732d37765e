#include "platform/linux/preferences/PreferencesTrouble.h"

#include <cerrno>
#include <cstring>

namespace vmr {

void fail(PreferencesTrouble::Kind kind, std::string_view text,
          std::initializer_list<FormatArgument> arguments) {
    throw PreferencesTrouble{kind, formatArguments(text, arguments)};
}

void failWith(int error, std::string_view text, std::initializer_list<FormatArgument> arguments) {
    const bool isFull = error == ENOSPC || error == EDQUOT || error == EFBIG;
    const bool hasNoRight = error == EACCES || error == EPERM || error == EROFS;
    const char *const remedy = isFull       ? "free some space on its disk"
                               : hasNoRight ? "name a place where this user may write"
                               : error == EMFILE || error == ENFILE
                                   ? "raise the limit of open files"
                                   : "check its disk";
    fail(PreferencesTrouble::Kind::failed, "%@ (%@); %@",
         {formatArguments(text, arguments), std::strerror(error), remedy});
}

} // namespace vmr
