#include "tcf/TCFJSON.h"

#include <array>
#include <charconv>
#include <ostream>

namespace velmora::tcf {
namespace {

/// Writes one object, entry by entry. Nothing is put together in memory, since ids may be many.
class ObjectWriter {
public:
    ObjectWriter(std::ostream &out, IdForm form) : out_(out), form_(form) { out_ << '{'; }
    ObjectWriter(const ObjectWriter &) = delete;
    ObjectWriter &operator=(const ObjectWriter &) = delete;
    ~ObjectWriter() { out_ << '}'; }

    std::ostream &entry(std::string_view name) {
        out_ << (isFirst_ ? "\"" : ",\"") << name << "\":";
        isFirst_ = false;
        return out_;
    }
    void number(std::string_view name, std::int64_t value) { entry(name) << value; }
    void boolean(std::string_view name, bool value) { entry(name) << (value ? "true" : "false"); }
    void text(std::string_view name, std::string_view value) {
        entry(name);
        writeText(value);
    }
    void seconds(std::string_view name, std::int64_t tenths) {
        entry(name) << tenths / 10 << '.' << tenths % 10;
    }
    void ids(std::string_view name, const IdSet &ids) {
        entry(name);
        form_ == IdForm::ids ? writeIds(ids) : writeRanges(ids);
    }
    void ids(std::string_view name, const std::optional<IdSet> &ids) {
        if (ids)
            this->ids(name, *ids);
        else
            entry(name) << "null";
    }
    ObjectWriter object(std::string_view name) { return {entry(name), form_}; }
    template <class Items, class Write>
    void list(std::string_view name, const Items &items, Write &&write) {
        entry(name) << '[';
        const char *separator = "";
        for (const auto &item : items) {
            out_ << separator;
            write(item);
            separator = ",";
        }
        out_ << ']';
    }
    void writeText(std::string_view value) {
        // The texts are this program's own, of printable characters.
        out_ << '"';
        for (const char c : value) {
            if (c == '"' || c == '\\')
                out_ << '\\';
            out_ << c;
        }
        out_ << '"';
    }
    std::ostream &out() { return out_; }
    IdForm form() const { return form_; }

private:
    void writeIds(const IdSet &ids) {
        char separator = '[';
        for (const IdRange &range : ids.ranges())
            for (unsigned id = range.first; id <= range.last; ++id) {
                char text[8] = {separator};
                const auto end = std::to_chars(text + 1, std::end(text), id).ptr;
                out_.write(text, end - text);
                separator = ',';
            }
        out_ << (ids.empty() ? "[]" : "]");
    }
    void writeRanges(const IdSet &ids) {
        char separator = '[';
        for (const IdRange &range : ids.ranges()) {
            out_ << separator << '[' << range.first << ',' << range.last << ']';
            separator = ',';
        }
        out_ << (ids.empty() ? "[]" : "]");
    }

    std::ostream &out_;
    IdForm form_;
    bool isFirst_ = true;
};

void writePublisherPurposes(ObjectWriter &object,
                            const std::optional<PublisherPurposes> &purposes) {
    if (!purposes) {
        object.entry("publisherPurposes") << "null";
        return;
    }
    ObjectWriter inner = object.object("publisherPurposes");
    inner.ids("purposeConsents", purposes->consents);
    inner.ids("purposeLegitimateInterests", purposes->legitimateInterests);
    inner.number("customPurposeCount", purposes->customCount);
    inner.ids("customPurposeConsents", purposes->customConsents);
    inner.ids("customPurposeLegitimateInterests", purposes->customLegitimateInterests);
}

void writeVersion2(ObjectWriter &object, const TCFString &string) {
    object.number("policyVersion", string.policyVersion);
    object.boolean("isServiceSpecific", string.isServiceSpecific);
    object.boolean("useNonStandardTexts", string.useNonStandardTexts);
    object.ids("specialFeatureOptIns", string.specialFeatureOptIns);
    object.ids("purposeConsents", string.purposeConsents);
    object.ids("purposeLegitimateInterests", string.purposeLegitimateInterests);
    object.boolean("purposeOneTreatment", string.purposeOneTreatment);
    object.text("publisherCountryCode", string.publisherCountryCode);
    object.ids("vendorConsents", string.vendorConsents);
    object.ids("vendorLegitimateInterests", string.vendorLegitimateInterests);
    object.list("publisherRestrictions", string.publisherRestrictions,
                [&](const Restriction &each) {
                    ObjectWriter restriction(object.out(), object.form());
                    restriction.number("purposeId", each.purpose);
                    restriction.number("restrictionType", static_cast<int>(each.type));
                    restriction.ids("vendorIds", each.vendors);
                });
    object.ids("disclosedVendors", string.disclosedVendors);
    object.ids("allowedVendors", string.allowedVendors);
    writePublisherPurposes(object, string.publisherPurposes);
}

void writeString(ObjectWriter &object, const TCFString &string) {
    object.number("version", string.version);
    object.seconds("created", string.created);
    object.seconds("lastUpdated", string.lastUpdated);
    object.number("cmpId", string.cmpId);
    object.number("cmpVersion", string.cmpVersion);
    object.number("consentScreen", string.consentScreen);
    object.text("consentLanguage", string.consentLanguage);
    object.number("vendorListVersion", string.vendorListVersion);
    if (string.version == 2) {
        writeVersion2(object, string);
    } else {
        object.ids("purposesAllowed", string.purposeConsents);
        object.ids("vendorConsents", string.vendorConsents);
    }
    object.list("problems", string.problems,
                [&](const Problem &problem) { object.writeText(problem.text); });
}

} // namespace

void writeJSON(std::ostream &out, const std::variant<TCFString, Failure> &decoded, IdForm form) {
    ObjectWriter object(out, form);
    if (const auto *failure = std::get_if<Failure>(&decoded))
        object.text("error", failure->text);
    else
        writeString(object, std::get<TCFString>(decoded));
}

void writeJSON(std::ostream &out, const Difference &difference, IdForm form) {
    ObjectWriter object(out, form);
    for (const auto &[name, side] :
         {std::pair("granted", &IdChange::granted), std::pair("withdrawn", &IdChange::withdrawn)}) {
        ObjectWriter inner = object.object(name);
        for (const IdChange &change : difference.ids)
            if (!(change.*side).empty())
                inner.ids(change.entry, change.*side);
    }
    {
        ObjectWriter changed = object.object("changed");
        for (const ValueChange &change : difference.values)
            changed.list(change.entry, std::array{change.before, change.after},
                         [&](const std::string &text) { changed.writeText(text); });
    }
    object.boolean("comparesPurposes", difference.comparesPurposes);
}

} // namespace velmora::tcf
