#pragma once

#include <VelmoraKit/Result.h>

#include <cstdint>
#include <memory>
#include <type_traits>

namespace VelmoraKit {

/// What a host may say before the start call. Everything has a default; see velmora_options for
/// what each is.
struct Options {
    OptionalText storePath = nullptr;
    OptionalText bundleIdentifier = nullptr;
    OptionalText appVersion = nullptr;
    /// A JSON object, for instance {"VMRLogsEnabled": true}.
    OptionalText informationDictionary = nullptr;
    OptionalText ingestBaseAddress = nullptr;
    OptionalText systemVersion = nullptr;
    OptionalText identifierForVendor = nullptr;
    OptionalText advertisingIdentifier = nullptr;
    /// 0 not determined, 1 restricted, 2 denied, 3 authorised.
    std::uint32_t trackingStatus = 0;
    bool legacyTracking = false;
    OptionalText certificateAuthorityFile = nullptr;
    OptionalText pinnedPublicKey = nullptr;
    bool allowProxy = false;
    bool storeCompanion = false;
    /// False: a delivered post also removes, unsent, the events of changes that were made while it
    /// was under way.
    bool keepUnsent = false;
    bool sharedFolder = false;

    /// Sends log lines to `sink(std::string_view line)`, or to `sink(velmora_log_level level,
    /// std::string_view line)`, which is called from any thread, also from several at once, must
    /// not call the SDK and lives as long as the process. What it throws is dropped.
    template <class Sink>
    void setLogSink(Sink sink) {
        logContext_ = std::make_shared<Sink>(std::move(sink));
        logSink_ = [](velmora_log_level level, const char *line, std::size_t length,
                      void *context) {
            const std::string_view text(line, length);
            if constexpr (std::is_invocable_v<Sink &, velmora_log_level, std::string_view>)
                detail::callHost<Sink>(context, level, text);
            else
                detail::callHost<Sink>(context, text);
        };
    }
    /// velmora_log_to_journal, velmora_log_to_syslog or a function like these. Under the name of
    /// the program.
    void setLogSink(velmora_log_sink sink) {
        logContext_.reset();
        logSink_ = sink;
    }

    /// Used by Velmora::configure.
    Result apply() const {
        for (const OptionalText *text :
             {&storePath, &bundleIdentifier, &appVersion, &informationDictionary,
              &ingestBaseAddress, &systemVersion, &identifierForVendor, &advertisingIdentifier,
              &certificateAuthorityFile, &pinnedPublicKey})
            if (text->hasNul())
                return detail::refuseNul();
        velmora_options options;
        velmora_options_init(&options, sizeof options);
        options.store_path = storePath.c_str();
        options.bundle_identifier = bundleIdentifier.c_str();
        options.app_version = appVersion.c_str();
        options.information_dictionary = informationDictionary.c_str();
        options.ingest_base_address = ingestBaseAddress.c_str();
        options.system_version = systemVersion.c_str();
        options.identifier_for_vendor = identifierForVendor.c_str();
        options.advertising_identifier = advertisingIdentifier.c_str();
        options.tracking_status = trackingStatus;
        options.legacy_tracking = legacyTracking ? 1 : 0;
        options.certificate_authority_file = certificateAuthorityFile.c_str();
        options.pinned_public_key = pinnedPublicKey.c_str();
        options.allow_proxy = allowProxy ? 1 : 0;
        options.store_companion = storeCompanion ? 1 : 0;
        options.keep_unsent = keepUnsent ? 1 : 0;
        options.shared_folder = sharedFolder ? 1 : 0;
        Result result(velmora_configure(&options));
        if (result && logSink_ != nullptr) {
            result = Result(velmora_set_log_sink(logSink_, logContext_.get()));
            if (result)
                keepForever(logContext_);
        }
        return result;
    }

private:
    // Workers may still log while the process ends: the sink is never destroyed.
    static void keepForever(const std::shared_ptr<void> &sink) {
        static auto &kept = *new std::shared_ptr<void>;
        kept = sink;
    }

    std::shared_ptr<void> logContext_;
    velmora_log_sink logSink_ = nullptr;
};

} // namespace VelmoraKit
