#pragma once

#include "platform/Date.h"

#include <string>
#include <string_view>
#include <vector>

namespace vmr {

/// A Unicode date pattern, taken apart once: the letters y M d H m s S Z, quoted text, and every
/// other character that is no letter as itself. Immutable, so safe from any thread.
class DatePattern {
public:
    enum class Zone { local, gmt };

    DatePattern(std::string_view pattern, Zone zone);

    /// The date, rounded to the nearest millisecond.
    std::string print(Date date) const;

private:
    struct Piece {
        /// A pattern letter, or 0 for a literal.
        char letter;
        std::size_t width;
        std::string literal;
    };

    void addLiteral(std::string_view text);

    std::vector<Piece> pieces_;
    Zone zone_;
};

} // namespace vmr
