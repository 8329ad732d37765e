#pragma once

#include "platform/linux/LinuxPlatform.h"
#include "support/TemporaryFolder.h"

#include <memory>
#include <string>

namespace vmr {
class Velmora;
}

namespace bench {

/// The product as a host has it: the Linux services on a store in a folder of their own, and the
/// SDK started on them.
class Host {
    vmr::test::TemporaryFolder folder_; // goes last

public:
    explicit Host(const std::string &ingestAddress);

    std::shared_ptr<vmr::Velmora> velmora;
    vmr::LinuxPlatform platform;

    /// Replaces the stored events by `count` fresh ones.
    void storeEvents(int count) const;
    /// Runs the main loop until nothing is outstanding.
    void settle() const;
};

} // namespace bench
