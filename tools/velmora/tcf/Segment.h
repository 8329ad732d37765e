#pragma once

#include "tcf/TCFString.h"

namespace velmora::tcf {

/// Reads the bits of one segment from its text, one field after the other. Where the text ends or
/// is none, it throws a Failure. The other base64 alphabet and its padding are read as well.
class Segment {
public:
    /// `text` must stay alive.
    Segment(std::string_view text, std::string name);

    /// What the fields to come belong to, for failures: "vendor consents".
    void enter(std::string_view part) { part_ = part; }
    void setName(std::string name) { name_ = std::move(name); }
    const std::string &name() const { return name_; }

    /// At most 36 bits.
    std::uint64_t number(std::string_view field, unsigned bits);
    int integer(std::string_view field, unsigned bits);
    bool flag(std::string_view field) { return number(field, 1) != 0; }
    /// A bit for each id from 1 on.
    IdSet row(std::string_view field, std::size_t bits);
    /// Two letters of six bits.
    std::string letters(std::string_view field);

    /// Whether all bits behind the last field are 0.
    bool endsInZeros();

    [[noreturn]] void fail(std::string_view field, std::size_t bit, const std::string &why) const;

private:
    unsigned sextet(std::string_view field, std::size_t index) const;

    std::string_view text_;
    std::string name_;
    std::string_view part_;
    std::size_t position_ = 0;
};

} // namespace velmora::tcf
