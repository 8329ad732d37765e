#pragma once

#include <string>
#include <string_view>

namespace velmora::tcf {

/// Puts together lines for people: headings, and below them rows of a label and a text.
class Lines {
public:
    void heading(std::string_view text);
    /// Texts that are longer than a line go on below themselves.
    void row(std::string_view label, std::string_view text);
    /// A text that begins with "! " and goes on below itself.
    void remark(std::string_view text);
    const std::string &text() const { return text_; }

private:
    void add(std::string_view begin, std::string_view text);

    std::string text_;
};

} // namespace velmora::tcf
