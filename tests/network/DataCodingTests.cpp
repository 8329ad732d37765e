#include "network/DataCoding.h"
#include "platform/JSON.h"
#include "platform/Text.h"

#include <gtest/gtest.h>

#include <random>

namespace vmr::test {
namespace {

/// Bytes that do not compress, the same in every run.
std::string noise(std::size_t size) {
    std::minstd_rand generator(7);
    std::string bytes(size, '\0');
    for (char &byte : bytes)
        byte = static_cast<char>(generator() >> 8);
    return bytes;
}

TEST(Gzip, GivesBackWhatItCompressed) {
    const std::string repetitive(300000, 'a');
    // Around the output buffer's step, where the last pass has nothing left to write.
    for (const std::string &bytes : {std::string("x"), repetitive, noise(16384), noise(100000)}) {
        for (const float level : {1.0F, 0.05F, -3.0F}) {
            const auto compressed = gzippedDataWithCompressionLevel(Data(bytes), level);
            ASSERT_TRUE(compressed);
            EXPECT_TRUE(isGzippedData(*compressed));
            EXPECT_EQ(gunzippedData(*compressed), Data(bytes));
        }
    }
}

TEST(Gzip, JSONThatIsCompressedWhileItIsWrittenGivesTheSameBytes) {
    List items;
    // Pieces of every length, also longer than what is handed on at once.
    for (std::size_t size = 0; size < 70000; size = size * 2 + 1)
        items.push_back(Value::dictionary(
            {{"text", Value::string(VMR_hexEncode(textFromLatin1(noise(size))))}}));
    for (const Value &object : {Value::list({}), Value::list(items)})
        EXPECT_EQ(gzippedJSON(object),
                  gzippedDataWithCompressionLevel(Data(writeJSON(object, JSONStyle::compact)), 1));
}

TEST(Gzip, LevelsAreNinthsOfTheWay) {
    const Data text(std::string(5000, 'a') + noise(100));
    const auto sizeAt = [&](float level) {
        return gzippedDataWithCompressionLevel(text, level)->size();
    };
    EXPECT_GT(sizeAt(0.05F), text.size()); // level 0 stores
    EXPECT_GT(sizeAt(0.0F), text.size());
    EXPECT_LT(sizeAt(0.06F), text.size()); // level 1 compresses
    EXPECT_EQ(gzippedData(text), gzippedDataWithCompressionLevel(text, -3.0F));
    // Byte 8 of the header tells zlib's slowest level.
    EXPECT_EQ(gzippedDataWithCompressionLevel(text, 1.0F)->bytes()[8], 2);
    EXPECT_EQ(gzippedDataWithCompressionLevel(text, 0.9F)->bytes()[8], 0);
    EXPECT_FALSE(gzippedDataWithCompressionLevel(text, 1.2F));
    EXPECT_FALSE(gzippedDataWithCompressionLevel(text, std::nanf("")));
}

TEST(Gzip, HandsBackTheSameBufferWhenThereIsNothingToDo) {
    for (const char *bytes : {"", "\x1f\x8b already"}) {
        const Data data{std::string(bytes)};
        EXPECT_TRUE(gzippedDataWithCompressionLevel(data, 1.0F)->isIdenticalTo(data));
    }
    for (const char *bytes : {"", "\x1f", "plain"}) {
        const Data data{std::string(bytes)};
        EXPECT_TRUE(gunzippedData(data)->isIdenticalTo(data));
    }
}

TEST(Gzip, CutStreamGivesAnOverlongBuffer) {
    const std::string original = noise(50000);
    const std::string whole(gzippedData(Data(original))->bytes());
    const std::string cut = whole.substr(0, whole.size() / 2);

    const Data inflated = *gunzippedData(Data(cut));
    const auto differs = std::mismatch(inflated.bytes().begin(), inflated.bytes().end(),
                                       original.begin(), original.end());
    const auto produced = static_cast<std::size_t>(differs.first - inflated.bytes().begin());
    EXPECT_GT(produced, 20000u);
    EXPECT_LT(produced, inflated.size());
    EXPECT_EQ(inflated.size() % (cut.size() / 2), 0u);
}

TEST(Gzip, DamagedAndTinyStreamsEnd) {
    for (const std::string &bytes :
         {std::string("\x1f\x8b"), std::string("\x1f\x8b\x08"), std::string("\x1f\x8b garbage")})
        EXPECT_EQ(gunzippedData(Data(bytes))->size(), bytes.size() / 2) << bytes.size();
}

} // namespace
} // namespace vmr::test
