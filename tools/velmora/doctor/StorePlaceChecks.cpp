#include "doctor/Checks.h"

#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iterator>

namespace velmora::doctor {
namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t mebibyte = std::uintmax_t{1024} * 1024;
constexpr std::uintmax_t tooLittleSpace = mebibyte;
constexpr std::uintmax_t littleSpace = 32 * mebibyte;

enum class Kind { network, fuse, memory };
struct FileSystem {
    std::uint32_t magic;
    Kind kind;
    const char *name;
};
constexpr FileSystem unusualFileSystems[] = {
    {NFS_SUPER_MAGIC, Kind::network, "NFS"},   {SMB_SUPER_MAGIC, Kind::network, "SMB"},
    {SMB2_SUPER_MAGIC, Kind::network, "SMB"},  {CIFS_SUPER_MAGIC, Kind::network, "CIFS"},
    {AFS_SUPER_MAGIC, Kind::network, "AFS"},   {CODA_SUPER_MAGIC, Kind::network, "Coda"},
    {CEPH_SUPER_MAGIC, Kind::network, "Ceph"}, {V9FS_MAGIC, Kind::network, "9P"},
    {FUSE_SUPER_MAGIC, Kind::fuse, "FUSE"},    {TMPFS_MAGIC, Kind::memory, "tmpfs"},
    {RAMFS_MAGIC, Kind::memory, "ramfs"},
};

fs::path nearestExisting(fs::path folder) {
    std::error_code error;
    while (!fs::exists(folder, error) && folder.has_relative_path())
        folder = folder.parent_path();
    return folder;
}

void checkFolderRights(const fs::path &folder, bool isMade, Findings &findings) {
    struct stat status {};
    if (::stat(folder.c_str(), &status) != 0)
        return; // the SDK's own finding tells why
    if (!isMade && ::access(folder.c_str(), W_OK | X_OK) != 0)
        findings.fail("store.folder", "the store's folder cannot be made in " + folder.string(),
                      "let the application's user write there, or name another store");
    else if (!isMade)
        findings.ok("store.folder", "the store's folder can be made in " + folder.string());
    else if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0 && (status.st_mode & S_ISVTX) == 0)
        findings.warn("store.folder", "other users may write in the folder " + folder.string(),
                      "run chmod go-w " + folder.string());
    else
        findings.ok("store.folder", "the folder " + folder.string() + " is this user's to write");
}

void checkSpace(const fs::path &folder, Findings &findings) {
    struct statvfs status {};
    if (::statvfs(folder.c_str(), &status) != 0 || status.f_blocks == 0)
        return; // what has no blocks is no disk
    const std::uintmax_t available = std::uintmax_t{status.f_bavail} * status.f_frsize;
    const std::string text =
        std::to_string(available / mebibyte) + " MiB are free for " + folder.string();
    const bool noFilesLeft = status.f_files != 0 && status.f_favail == 0;
    if ((status.f_flag & ST_RDONLY) != 0)
        findings.fail("store.space", "the file system of " + folder.string() + " is read-only",
                      "mount it for writing, or name another store");
    else if (available < tooLittleSpace || noFilesLeft)
        findings.fail("store.space", noFilesLeft ? "no file can be made any more: " + text : text,
                      "free some space; until then everything stays in memory");
    else if (available < littleSpace)
        findings.warn("store.space", text, "free some space");
    else
        findings.ok("store.space", text);
}

void checkFileSystem(const fs::path &folder, Findings &findings) {
    struct statfs status {};
    if (::statfs(folder.c_str(), &status) != 0)
        return;
    const auto magic = static_cast<std::uint32_t>(status.f_type);
    const auto *found = std::find_if(std::begin(unusualFileSystems), std::end(unusualFileSystems),
                                     [&](const FileSystem &each) { return each.magic == magic; });
    if (found == std::end(unusualFileSystems)) {
        findings.ok("store.filesystem", "the store is on a local file system");
        return;
    }
    const std::string where = "the store is on " + std::string(found->name);
    if (found->kind == Kind::network)
        findings.fail("store.filesystem",
                      where + ", where processes cannot share the memory that its log needs",
                      "put the store on a local disk");
    else if (found->kind == Kind::fuse)
        findings.warn("store.filesystem", where + ", which may be a network or a sync folder",
                      "put the store on a local disk unless you know that it is one");
    else
        findings.warn("store.filesystem", where + ", which is empty after a restart",
                      "put the store on a disk, unless that is meant");
}

} // namespace

void checkStorePlace(const Subject &subject, Findings &findings) {
    if (subject.storePath.empty())
        return;
    const fs::path folder = fs::absolute(subject.storePath).parent_path();
    const fs::path existing = nearestExisting(folder);
    const bool isMade = existing == folder;
    // The SDK makes no folder for a file that the host names; its own finding says so.
    if (isMade || subject.sdk["store"]["trouble"].is_null())
        checkFolderRights(existing, isMade, findings);
    checkSpace(existing, findings);
    checkFileSystem(existing, findings);
}

} // namespace velmora::doctor
