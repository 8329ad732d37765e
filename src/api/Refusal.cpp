#include "api/Refusal.h"

namespace vmr::api {

void refuseWith(velmora_result result, std::string_view text,
                std::initializer_list<FormatArgument> arguments) {
    throw Refusal(result, formatArguments(text, arguments));
}

} // namespace vmr::api
