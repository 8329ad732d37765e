/// \file
/// \brief VelmoraKit for C++: everything that a host includes. C++17 or later.
///
///     #include <VelmoraKit/VelmoraKit.h>
///
///     int main() {
///         VelmoraKit::Options options;
///         options.bundleIdentifier = "com.example.player";
///         options.appVersion = "4.2.0";
///         options.ingestBaseAddress = "https://ingest.example.com/";
///         VelmoraKit::Velmora::configure(options);
///         VelmoraKit::Velmora::initWithApiKey("key", "secret");
///
///         auto &velmora = VelmoraKit::Velmora::sharedVelmora();
///         velmora.preferences().setString("IABTCF_TCString", "CO...");
///         velmora.mainRunLoop().run(); // or watch mainRunLoop().descriptor()
///     }
#pragma once

#include <VelmoraKit/Constants.h>
#include <VelmoraKit/Observation.h>
#include <VelmoraKit/Options.h>
#include <VelmoraKit/Preferences.h>
#include <VelmoraKit/Result.h>
#include <VelmoraKit/RunLoop.h>
#include <VelmoraKit/SharedVelmora.h>
