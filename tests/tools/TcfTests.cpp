#include "tools/Velmora.h"

#include <gmock/gmock.h>

namespace vmr::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

TEST(TcfTests, AnswersEveryLineOfItsInputByOne) {
    Program program = velmora({"tcf", "--json"});
    EXPECT_EQ(ask(program, sound)["purposeConsents"], json({1, 2, 3, 4}));
    EXPECT_THAT(ask(program, "C\x1b\xff\u202e")["error"], StartsWith("core, Created, bit 6: "));
    EXPECT_THAT(ask(program, "")["error"], HasSubstr("the string ends here"));
    EXPECT_EQ(ask(program, std::string(sound) + "\r")["version"], 2); // a line end of elsewhere
    program.closeInput();
    EXPECT_EQ(program.wait(), 1);
    Program empty = velmora({"tcf"});
    empty.closeInput();
    EXPECT_EQ(empty.wait(), 0);
}

TEST(TcfTests, SaysForPeopleWhatAStringSays) {
    Program program = velmora({"tcf", sound, "D"});
    EXPECT_EQ(program.rest(),
              R"(Consent string of version 2.3, no problems
  created               2026-01-01 00:00:00 UTC
  last updated          2026-01-01 00:00:00 UTC
  consent tool          31, its version 640, screen 1
  language              EN
  vendor list           version 126
  policy                version 5
  publisher's country   DE
  service-specific      yes
  non-standard texts    no
  purpose 1 disclosed   yes

Purposes
  id  consent  interest
   1  yes      -        Store and/or access information on a device
   2  yes      -        Use limited data to select advertising
   3  yes      -        Create profiles for personalised advertising
   4  yes      -        Use profiles to select personalised advertising
   5  -        -        Create profiles to personalise content
   6  -        -        Use profiles to select personalised content
   7  -        yes      Measure advertising performance
   8  -        -        Measure content performance
   9  -        -        Understand audiences through statistics or combinations of data from
                        different sources
  10  -        -        Develop and improve services
  11  -        -        Use limited data to select content

Special features
   1  -                 Use precise geolocation data
   2  -                 Actively scan device characteristics for identification

Vendors
  consent               3: 2, 4-5
  legitimate interest   1: 3
  disclosed             4: 2-5

Restrictions by the publisher
  purpose 2             consent required for vendors 9

Not a consent string: core, Version, bit 0: it says 3, but consent strings have version 1 or 2
)");
    EXPECT_EQ(program.wait(), 1);
}

TEST(TcfTests, ComparesTwoStrings) {
    Program changed =
        velmora({"tcf", "--diff", sound, "COwxsONOwxsONKpAAAENAdCAAMAAAAAAAAAAAAAAAAAA"});
    const std::string text = changed.rest();
    EXPECT_THAT(text, HasSubstr("Withdrawn\n  consent, purpose      3 Create profiles for"));
    EXPECT_EQ(changed.wait(), 0);
    Program same = velmora({"tcf", "--diff", sound, sound});
    EXPECT_EQ(same.rest(), "Nothing was granted and nothing withdrawn\n");
    Program wrong = velmora({"tcf", "--diff", "D", sound});
    EXPECT_EQ(wrong.rest(), "");
    EXPECT_EQ(wrong.wait(), 1);
    EXPECT_THAT(wrong.errors(), StartsWith("velmora: OLD is not a consent string: core, Version"));
    for (const std::vector<std::string> &more :
         {std::vector<std::string>{"tcf", "--diff", sound}, {"tcf", sound, "--diff", sound, sound}})
        EXPECT_EQ(velmora(more).wait(), 2);
}

} // namespace
} // namespace vmr::test
