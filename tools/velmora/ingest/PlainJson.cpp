#include "ingest/PlainJson.h"

#include <algorithm>

namespace velmora::ingest {
namespace {

using Sax = nlohmann::json_sax<nlohmann::json>;

bool isBlank(char c) {
    return c == ' ' || c == '\n' || c == '\r' || c == '\t';
}

class PlainJson {
public:
    PlainJson(std::string_view text, Sax &tree) : rest_(text), tree_(tree) {}

    bool read() {
        for (;;) {
            const bool isMember = !closers_.empty() && closers_.back() == '}';
            if (isMember && !(readWord() && tree_.key(word_) && take(':')))
                return false;
            if (take('{')) {
                if (!tree_.start_object(unknownCount))
                    return false;
                closers_ += '}';
            } else if (take('[')) {
                if (!tree_.start_array(unknownCount))
                    return false;
                closers_ += ']';
            } else {
                if (!readScalar())
                    return false;
                if (!endValues())
                    return closers_.empty() && rest_.empty();
            }
        }
    }

private:
    static constexpr auto unknownCount = static_cast<std::size_t>(-1);

    bool readScalar() {
        if (readWord())
            return tree_.string(word_);
        return take("null")    ? tree_.null()
               : take("true")  ? tree_.boolean(true)
               : take("false") ? tree_.boolean(false)
                               : false;
    }

    /// Closes what ends with the value that was read. True when another value has to follow.
    bool endValues() {
        while (!closers_.empty() && !take(',')) {
            const char closer = closers_.back();
            if (!take(closer) || !(closer == '}' ? tree_.end_object() : tree_.end_array()))
                return false;
            closers_.pop_back();
        }
        skipBlanks();
        return !closers_.empty();
    }

    bool readWord() {
        skipBlanks();
        if (!rest_.starts_with('"'))
            return false;
        const auto *const end = std::find_if(rest_.begin() + 1, rest_.end(), [](char c) {
            return c < ' ' || c > '~' || c == '"' || c == '\\';
        });
        if (end == rest_.end() || *end != '"')
            return false;
        word_.assign(rest_.begin() + 1, end);
        rest_.remove_prefix(word_.size() + 2);
        return true;
    }

    bool take(char c) { return take({&c, 1}); }
    bool take(std::string_view text) {
        skipBlanks();
        const bool isThere = rest_.starts_with(text);
        if (isThere)
            rest_.remove_prefix(text.size());
        return isThere;
    }
    void skipBlanks() {
        while (!rest_.empty() && isBlank(rest_.front()))
            rest_.remove_prefix(1);
    }

    std::string_view rest_;
    Sax &tree_;
    std::string word_;
    /// What closes the objects and lists that are open.
    std::string closers_;
};

} // namespace

bool readPlainJson(std::string_view text, Sax &tree) {
    return PlainJson(text, tree).read();
}

} // namespace velmora::ingest
