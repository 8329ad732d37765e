#include "platform/CurrentDevice.h"
#include "platform/Text.h"
#include "platform/UUID.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vmr::test {
namespace {

using testing::ElementsAre;

TEST(TextTest, InvalidUTF8IsRecognised) {
    for (const std::string_view text : {"", "abc", "é", "€", "😀", "a\u0000b", "\uFEFFx"})
        EXPECT_TRUE(isValidUTF8(text)) << text;
    for (const std::string_view text : {"\x80", "a\xff", "\xc0\x80", "\xe2\x82", "\xed\xa0\x80",
                                        "\xf4\x90\x80\x80", "\xf0\x9f\x98", "\xc3("})
        EXPECT_FALSE(isValidUTF8(text)) << text;
}

TEST(TextTest, InvalidBytesAreFoundAtEveryPlaceOfALongText) {
    for (std::size_t at = 0; at <= 24; ++at) {
        std::string text(24, 'a');
        EXPECT_TRUE(isValidUTF8(text.insert(at, "é"))) << at;
        EXPECT_FALSE(isValidUTF8(text.erase(at, 1))) << at;
    }
}

TEST(TextTest, LengthsAndUnitsAreThoseOfUTF16) {
    EXPECT_EQ(utf16Length(""), 0U);
    EXPECT_EQ(utf16Length("aé€"), 3U);
    EXPECT_EQ(utf16Length("a😀"), 3U);
    EXPECT_THAT(utf16Units("aé😀"), ElementsAre(u'a', u'\u00e9', 0xD83D, 0xDE00));
}

TEST(TextTest, SubstringsCutAtUTF16Units) {
    EXPECT_EQ(substringFromUTF16Index("aé😀b", 0), "aé😀b");
    EXPECT_EQ(substringFromUTF16Index("aé😀b", 2), "😀b");
    EXPECT_EQ(substringFromUTF16Index("aé😀b", 3), "b");
    EXPECT_EQ(substringFromUTF16Index("aé😀b", 4), "b");
    EXPECT_EQ(substringFromUTF16Index("aé😀b", 9), "");
    EXPECT_EQ(substringFromUTF16Index(std::string(300, 'x'), 44).size(), 256U);
}

TEST(TextTest, ComposedCharactersStayWhole) {
    EXPECT_THAT(composedCharacters(""), ElementsAre());
    EXPECT_THAT(composedCharacters("e\u0301x"), ElementsAre("e\u0301", "x"));
    EXPECT_THAT(composedCharacters("🇫🇷🇩🇪"), ElementsAre("🇫🇷", "🇩🇪"));
    EXPECT_THAT(composedCharacters("a👨‍👩‍👧b"),
                ElementsAre("a", "👨‍👩‍👧", "b"));
    EXPECT_THAT(composedCharacters("a\r\nb"), ElementsAre("a", "\r", "\n", "b"));
    EXPECT_THAT(composedCharacters("a\xff"
                                   "b"),
                ElementsAre("a", "\xff", "b"));
}

TEST(TextTest, BytesBecomeLatin1Characters) {
    EXPECT_EQ(textFromLatin1("a\x80\xff"), "a\u0080\u00ff");
    EXPECT_EQ(textFromLatin1(std::string("\0", 1)), std::string("\0", 1));
}

TEST(UUIDTest, FreshOnesAreVersion4AndDiffer) {
    const std::string text = makeUUIDString();
    EXPECT_EQ(canonicalUUIDString(text), text);
    EXPECT_EQ(text[14], '4');
    EXPECT_NE(std::string_view("89AB").find(text[19]), std::string_view::npos);
    EXPECT_NE(makeUUIDString(), text);
}

TEST(UUIDTest, CanonicalFormTakesEitherCaseAndNothingElse) {
    EXPECT_EQ(canonicalUUIDString("01234567-89ab-cdef-ABCD-0123456789ef"),
              "01234567-89AB-CDEF-ABCD-0123456789EF");
    for (const char *text :
         {"", "{01234567-89ab-cdef-ABCD-0123456789ef}", "0123456789abcdefABCD0123456789ef",
          "01234567-89ab-cdef-ABCD-0123456789eg", "01234567-89ab-cdef-ABCD-0123456789e",
          "01234567-89ab-cdef-ABCD00123456789ef", "01234567-89ab-cdef-ABCD--123456789ef"})
        EXPECT_FALSE(canonicalUUIDString(text)) << text;
}

TEST(SystemVersionTest, IsComparedNumberByNumber) {
    for (const char *version : {"9.3", "9.3.1", "9.10", "10", "10.0", "12.04", "99999999999999"})
        EXPECT_TRUE(isVersionAtLeast(version, 9, 3)) << version;
    for (const char *version : {"9.2.9", "9", "8.10", "", "unknown", "9.x", ".9", "-12"})
        EXPECT_FALSE(isVersionAtLeast(version, 9, 3)) << version;
    EXPECT_TRUE(isVersionAtLeast("", 0, 0));
    EXPECT_TRUE(isVersionAtLeast("9", 9, 0));
}

} // namespace
} // namespace vmr::test
