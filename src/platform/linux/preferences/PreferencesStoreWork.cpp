#include "platform/Format.h"
#include "platform/SystemLog.h"
#include "platform/linux/preferences/PreferencesFileCheck.h"
#include "platform/linux/preferences/PreferencesStore.h"

#include <utility>

namespace vmr {

bool PreferencesStore::work(std::function<void()> takeOver) {
    load();
    if (!isWaiting() && ownership_.takeWork())
        return true;
    takeOvers_.push_back(std::move(takeOver));
    if (isWaiting())
        return false;
    options_.log->write(formatText(
        "VelmoraKit: process %ld works the store %@ already. This one waits, and takes over when "
        "that ends; until then that one sees to what is set here.",
        ownership_.worker().value_or(0), path_));
    waiting_.store(true);
    watchWorker();
    return false;
}

/// False when nobody works the store any more.
bool PreferencesStore::watchWorker() {
    const std::optional<pid_t> worker = ownership_.worker();
    if (!worker)
        return false;
    if (workerWatch_ && workerWatch_->worker() == *worker)
        return true;
    const auto look = [self = weak_from_this()] {
        if (const auto store = self.lock())
            store->takeOverIfPossible();
    };
    workerWatch_ =
        std::make_unique<WorkerWatch>(options_.loop, resolvedFolder(path_), *worker, look);
    // It may have ended before anybody watched it.
    if (options_.loop.runLater)
        options_.loop.runLater(0, look);
    return true;
}

void PreferencesStore::takeOverIfPossible() {
    while (isWaiting()) {
        if (ownership_.takeWork())
            return takeOver();
        if (watchWorker())
            return;
    }
}

void PreferencesStore::takeOver() {
    workerWatch_.reset();
    options_.log->write(
        formatText("VelmoraKit: this process works the store %@ from now on.", path_));
    const Turn turn(*this);
    waiting_.store(false);
    for (const auto &takeOver : std::exchange(takeOvers_, {}))
        takeOver();
}

PreferencesStore::Differences PreferencesStore::takeHandovers() {
    Turn *const turn = ownTurn();
    if (turn == nullptr || !turn->disk_)
        return {};
    const Differences handovers = turn->disk_->takeHandovers(hostDeadline());
    // Whoever observes from now on learns of it by what it finds.
    const DiskNews news = turn->disk_->takeNews();
    finish(news);
    notify(news);
    return handovers;
}

} // namespace vmr
