// Makes what the public headers have templates for; compiled, never run.

#include <VelmoraKit/VelmoraKit.h>

#include <functional>
#include <memory>

VelmoraKit::Observation useTemplates() {
    VelmoraKit::Options options;
    options.setLogSink([](std::string_view) {});
    options.setLogSink([](velmora_log_level, std::string_view) {});
    options.setLogSink(velmora_log_to_journal);
    auto &velmora = VelmoraKit::Velmora::sharedVelmora();
    velmora.mainRunLoop().perform(std::function<void()>());
    velmora.mainRunLoop().perform([owned = std::make_unique<int>(1)] { ++*owned; });
    return velmora.preferences().observe(nullptr,
                                         [](std::string_view, const char *, const char *) {});
}
