#pragma once

#include <VelmoraKit/VelmoraKit.h>

#include <csignal>
#include <future>
#include <string_view>
#include <thread>
#include <utility>

/// The SDK on a thread of its own, for a host whose threads have no loop to plug it into. One a
/// process. The host's threads call `perform` and `setString`; everything else of the SDK is for
/// what `perform` is given, except reading the preferences, which any thread may.
class VelmoraThread {
public:
    /// Returns when the SDK has started or refused; see `started`. The SDK must not have been used
    /// before.
    VelmoraThread(VelmoraKit::Options options, VelmoraKit::OptionalText apiKey,
                  VelmoraKit::OptionalText secret, double secondsForTheLastPost = 5) {
        // The host's signal handlers run on the host's threads.
        sigset_t all;
        sigset_t before;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);
        std::promise<VelmoraKit::Result> outcome;
        std::future<VelmoraKit::Result> started = outcome.get_future();
        thread_ = std::thread(run, std::move(options), std::move(apiKey), std::move(secret),
                              secondsForTheLastPost, std::move(outcome));
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        started_ = started.get();
    }
    VelmoraThread(const VelmoraThread &) = delete;
    VelmoraThread &operator=(const VelmoraThread &) = delete;
    /// Lets a post that is under way or due end first. Where there is no such thread, in a forked
    /// child, it does nothing.
    ~VelmoraThread() {
        if (!started_ || loop().stop())
            thread_.join();
        else
            thread_.detach();
    }

    const VelmoraKit::Result &started() const { return started_; }

    /// Calls `work()` on the SDK's thread, after what was handed over before; returns at once.
    template <class Work>
    VelmoraKit::Result perform(Work work) {
        return loop().perform(std::move(work));
    }
    /// Has the SDK's thread set a preference, a consent string above all; returns at once.
    VelmoraKit::Result setString(std::string_view key, std::string_view text) {
        return VelmoraKit::Velmora::sharedVelmora().preferences().setStringOnMainLoop(key, text);
    }

private:
    static VelmoraKit::RunLoop &loop() {
        return VelmoraKit::Velmora::sharedVelmora().mainRunLoop();
    }
    static void run(const VelmoraKit::Options &options, const VelmoraKit::OptionalText &apiKey,
                    const VelmoraKit::OptionalText &secret, double secondsForTheLastPost,
                    std::promise<VelmoraKit::Result> outcome) {
        VelmoraKit::Result result = VelmoraKit::Velmora::configure(options);
        if (result)
            result = VelmoraKit::Velmora::initWithApiKey(apiKey, secret);
        const bool isStarted(result);
        outcome.set_value(std::move(result));
        if (!isStarted)
            return;
        loop().run();
        loop().runUntilIdle(secondsForTheLastPost);
    }

    VelmoraKit::Result started_;
    std::thread thread_;
};
