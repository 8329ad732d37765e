#include "tools/Velmora.h"

#include <gmock/gmock.h>

#include <ctime>
#include <filesystem>
#include <sstream>

namespace vmr::test {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr const char *version1 = "BOEFEAyOEFEAyAHABDENAI4AAAB9vABAASA";

class DoctorConsentTests : public testing::Test {
protected:
    using Lines = std::vector<std::string>;

    DoctorConsentTests() {
        std::filesystem::create_directory(folder_.file("state"));
        std::filesystem::permissions(folder_.file("state"), std::filesystem::perms::owner_all);
    }
    std::string store() const { return folder_.file("state/store.db"); }

    /// What an application without a service does when it is told so.
    void host(const Lines &commands, const std::string &start = "--app-version=1") const {
        Program program = velmora({"run", "--store", store(), "--ingest", "http://127.0.0.1:9/",
                                   "--bundle-id", "com.a.b", start});
        for (const std::string &command : commands)
            EXPECT_EQ(ask(program, command).count("error"), 0U) << command;
        program.closeInput();
        EXPECT_EQ(program.wait(), 0);
    }
    /// The same without the SDK: what a consent tool writes.
    void write(const Lines &commands) const { host(commands, "--no-start"); }

    /// "severity id message; remedy" of what is found about the consent.
    Lines findings() const {
        Program doctor =
            velmora({"doctor", "--json", "--store", store(), "--ingest", "http://127.0.0.1:9/"});
        std::istringstream lines(doctor.rest());
        Lines found;
        for (std::string line; std::getline(lines, line);) {
            const json finding = json::parse(line);
            const std::string id = finding["id"];
            if (id.starts_with("consent") || id == "sdk")
                found.push_back(std::string(finding["severity"]) + " " + id + " " +
                                std::string(finding["message"]));
            EXPECT_EQ(finding["remedy"].is_null(), finding["severity"] == "ok") << line;
        }
        return found;
    }

    TemporaryFolder folder_;
};

TEST_F(DoctorConsentTests, ASoundConsentHasNothingToSay) {
    EXPECT_THAT(findings(), IsEmpty()); // there is no store yet
    write({std::string("set IABTCF_TCString ") + sound, "put IABTCF_gdprApplies integer 1",
           "put IABTCF_CmpSdkID integer 31", "put IABTCF_CmpSdkVersion integer 640",
           "put IABTCF_PolicyVersion integer 5", "put IABTCF_PurposeOneTreatment integer 0",
           "put IABTCF_UseNonStandardTexts integer 0", "set IABTCF_PublisherCC DE",
           "set IABTCF_PurposeConsents 111100000000000000000000",
           "set IABTCF_PurposeLegitimateInterests 000000100000000000000000",
           "set IABTCF_SpecialFeaturesOptIns 000000000000", "set IABTCF_VendorConsents 01011",
           "set IABTCF_VendorLegitimateInterests 001", "set IABTCF_DisclosedVendors 01111",
           "set IABTCF_PublisherRestrictions2 ________1_"});
    EXPECT_THAT(findings(),
                Contains("warning consent.seen the SDK has not seen yet what IABTCF_TCString "
                         "holds"));
    host({"status"});
    const Lines found = findings();
    EXPECT_THAT(found, Contains(AllOf(HasSubstr("ok consent.v2"), HasSubstr("version 2.3"),
                                      HasSubstr("purposes 1-4, vendors 3"))));
    EXPECT_THAT(found, Contains("ok consent.companions the 14 companion keys say the same as the "
                                "string"));
    EXPECT_THAT(found, Contains(HasSubstr("ok consent.seen")));
    EXPECT_THAT(found, Contains(HasSubstr("ok consent.posted no consent was posted")));
}

TEST_F(DoctorConsentTests, NamesWhatCompanionsSayDifferently) {
    write({std::string("set IABTCF_TCString ") + sound, "put IABTCF_gdprApplies integer 2",
           "put IABTCF_CmpSdkID integer 32", "set IABTCF_CmpSdkVersion 640",
           "set IABTCF_PublisherCC \u202e", "set IABTCF_PurposeConsents 1011",
           "set IABTCF_VendorConsents 01012", "set IABTCF_PublisherRestrictions2 01______1",
           "put IABTCF_VendorLegitimateInterests json [1]"});
    Lines found;
    for (const std::string &each : findings())
        if (each.starts_with("warning consent.companions "))
            found.push_back(each.substr(27));
    EXPECT_THAT(
        found,
        ElementsAre("IABTCF_gdprApplies is 2, which is neither 0 nor 1",
                    "IABTCF_CmpSdkID is 32, but the string says 31",
                    "IABTCF_CmpSdkVersion holds a string instead of a number",
                    "IABTCF_PublisherCC is \"\\xe2\\x80\\xae\", but the string says \"DE\"",
                    "IABTCF_PurposeConsents lacks 2, which the string has",
                    "IABTCF_VendorConsents has \"2\" in place 5, where only 0 and 1 may stand",
                    "IABTCF_VendorLegitimateInterests holds a list instead of a string",
                    "IABTCF_PublisherRestrictions2, restriction 0, has 1, which the string has not",
                    "IABTCF_PublisherRestrictions2, restriction 1, has 2, which the string has not",
                    "these companion keys of the string are missing: IABTCF_PolicyVersion, "
                    "IABTCF_PurposeOneTreatment, IABTCF_UseNonStandardTexts, "
                    "IABTCF_PurposeLegitimateInterests, IABTCF_DisclosedVendors"));
}

TEST_F(DoctorConsentTests, FindsWhatIsNoConsentOrUnderTheWrongKey) {
    write({"put IABTCF_TCString integer 5", std::string("set IABConsent_ConsentString ") + sound});
    EXPECT_THAT(findings(),
                AllOf(Contains("error consent.v2 IABTCF_TCString holds a number instead of a "
                               "string"),
                      Contains(HasSubstr("error consent.v1 IABConsent_ConsentString is the key of "
                                         "version 1, but holds a consent string of version 2.3"))));
    write({"set IABTCF_TCString CPc-\u001b[31mdemo",
           std::string("set IABConsent_ConsentString ") + version1});
    const Lines found = findings();
    EXPECT_THAT(found,
                Contains("error consent.v2 IABTCF_TCString holds \"CPc-\\x1b[31mdemo\", "
                         "which is not a consent string: core, Created, bit 24: the byte 0x1b "
                         "is not a base64url character"));
    EXPECT_THAT(found, Contains(HasSubstr("ok consent.v1 IABConsent_ConsentString holds a consent "
                                          "string of version 1.1")));
    EXPECT_THAT(found, Contains(HasSubstr("warning consent.problem IABConsent_ConsentString: it "
                                          "is a string of version 1")));
    EXPECT_THAT(found, Contains(HasSubstr("warning consent.both")));
    EXPECT_THAT(found, Not(Contains(HasSubstr("consent.companions"))));
}

TEST_F(DoctorConsentTests, SaysWhyEventsWait) {
    const auto waiting = [this] {
        Lines found;
        for (const std::string &each : findings())
            if (each.find("consent.waiting") != std::string::npos)
                found.push_back(each);
        return found;
    };
    write({"set other thing"});
    EXPECT_THAT(waiting(), ElementsAre("ok consent.waiting no consent event waits"));
    host({"status"});
    EXPECT_THAT(waiting(), ElementsAre(AllOf(HasSubstr("warning consent.waiting 2 consent events "
                                                       "wait, since 2"),
                                             HasSubstr("no change was noticed"))));
    host({"foreground", "settle 20"});
    EXPECT_THAT(waiting(), ElementsAre(AllOf(HasSubstr("4 consent events"), HasSubstr("did not "
                                                                                      "succeed"))));
    host({R"(device-response {"config": {"LOGS_REQUEST_ATTEMPT_TIME_INTERVAL": 2}})"});
    EXPECT_THAT(waiting(), ElementsAre(AllOf(HasSubstr("did not succeed, and the "
                                                       "configured interval holds"))));
    // Posted an hour ago, and what waits is newer.
    const std::string hourAgo = std::to_string(std::time(nullptr) - 3600);
    write({"put VMRLastPostConsentDatasDateKey date " + hourAgo,
           "put VMRLastPostConsentDatasAttemptDateKey date " + hourAgo});
    EXPECT_THAT(waiting(), ElementsAre(AllOf(HasSubstr("; the configured interval"),
                                             Not(HasSubstr("succeed")))));
    EXPECT_THAT(findings(), Contains(HasSubstr("ok consent.posted the consent was last posted 2")));
    write({"put VMRConsentEventsArray data 564d52410193c1"});
    EXPECT_THAT(waiting(), ElementsAre(HasSubstr("error consent.waiting")));
}

TEST_F(DoctorConsentTests, LeavesAFileAloneThatOthersMayRead) {
    write({std::string("set IABTCF_TCString ") + sound});
    std::filesystem::permissions(store(), std::filesystem::perms(0644));
    EXPECT_THAT(findings(), ElementsAre(HasSubstr("warning consent the stored consent "
                                                  "was not checked")));
}

} // namespace
} // namespace vmr::test
