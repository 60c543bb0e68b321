// A result is written beside its target and renamed, so that nobody ever sees half of it and a failed run leaves the old
// file. Temporary files stand in a small fixed list, because a signal handler may only touch what needs no memory.
#include "apps/kann/output_file.h"

#include "apps/kann/failure.h"
#include "apps/kann/image_load.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace kann {

namespace {

struct PendingFile {
    std::atomic<int> state{0}; // 0 free, 1 being filled, 2 to be taken away
    std::array<char, PATH_MAX> path{};
};
std::array<PendingFile, 64> pendingFiles;

void rememberPending(const std::string& path) {
    for (PendingFile& slot : pendingFiles) {
        int free = 0;
        if (path.size() >= slot.path.size() || !slot.state.compare_exchange_strong(free, 1)) continue;
        std::memcpy(slot.path.data(), path.c_str(), path.size() + 1);
        slot.state = 2;
        return;
    }
}

void forgetPending(const std::string& path) {
    for (PendingFile& slot : pendingFiles) {
        if (slot.state == 2 && path == slot.path.data()) slot.state = 0;
    }
}

void onSignal(int number) {
    for (PendingFile& slot : pendingFiles) {
        if (slot.state == 2) ::unlink(slot.path.data());
    }
    ::signal(number, SIG_DFL);
    ::raise(number);
}

// Where a chain of links ends, also when nothing is there.
std::string followLinks(std::string path) {
    for (int hops = 0; hops < 40; ++hops) {
        std::error_code error;
        const std::filesystem::path next = std::filesystem::read_symlink(path, error);
        if (error) return path;
        path = next.is_absolute() ? next.string() : (std::filesystem::path(path).parent_path() / next).string();
    }
    throw systemFailure(path, ERROR_FILE_OPEN, ELOOP);
}

// The mask can only be read by setting it, so that is done once.
mode_t processMask() {
    static const mode_t mask = [] {
        const mode_t value = ::umask(077);
        ::umask(value);
        return value;
    }();
    return mask;
}

void writeAll(int descriptor, std::span<const std::uint8_t> bytes, const std::string& name) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) throw systemFailure(name, ERROR_FILE_WRITE, errno);
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
}

// Closes and tells a failure: some file systems report a full disk only here.
void closeWritten(int descriptor, const std::string& name) {
    if (::close(descriptor) != 0) throw systemFailure(name, ERROR_FILE_WRITE, errno);
}

void writeTo(const std::string& path, int flags, std::span<const std::uint8_t> bytes, const std::string& name) {
    const int descriptor = path.empty() ? ::dup(STDOUT_FILENO) : ::open(path.c_str(), O_WRONLY | O_CLOEXEC | flags);
    if (descriptor < 0) throw systemFailure(name, ERROR_FILE_OPEN, errno);
    try {
        writeAll(descriptor, bytes, name);
    } catch (...) {
        ::close(descriptor);
        throw;
    }
    closeWritten(descriptor, name);
}

} // namespace

OutputFile::OutputFile(const std::string& target) : name_(target == "-" ? "standard output" : target) {
    if (target == "-") {
        special_ = true;
        return;
    }
    target_ = followLinks(target);
    struct stat status {};
    if (::stat(target_.c_str(), &status) != 0) {
        if (errno != ENOENT) throw systemFailure(name_, ERROR_FILE_OPEN, errno);
        mode_ = 0666 & ~processMask();
    } else {
        if (S_ISDIR(status.st_mode)) throw systemFailure(name_, ERROR_FILE_OPEN, EISDIR);
        if (::access(target_.c_str(), W_OK) != 0) throw systemFailure(name_, ERROR_FILE_OPEN, errno);
        special_ = !S_ISREG(status.st_mode);
        replaces_ = true;
        mode_ = status.st_mode & 07777;
    }
    if (!special_) makeTemporary(); // a folder that can't be written is told before the work, not after it
}

OutputFile::~OutputFile() {
    if (temporary_.empty()) return;
    ::unlink(temporary_.c_str());
    forgetPending(temporary_);
}

void OutputFile::makeTemporary() {
    std::error_code none;
    std::filesystem::path folder =
        special_ ? std::filesystem::temp_directory_path(none) : std::filesystem::path(target_).parent_path();
    if (none) throw systemFailure("the folder for temporary files", ERROR_FILE_OPEN, none.value());
    if (folder.empty()) folder = ".";
    std::string pattern = (folder / ".kann-XXXXXX").string();
    const int descriptor = ::mkstemp(pattern.data());
    if (descriptor < 0) throw systemFailure(special_ ? folder.string() : name_, ERROR_FILE_OPEN, errno);
    ::close(descriptor);
    temporary_ = pattern;
    rememberPending(temporary_);
}

const std::string& OutputFile::workPath() {
    if (temporary_.empty()) {
        makeTemporary();
        writeTo(temporary_, O_TRUNC, std::exchange(held_, {}), temporary_);
    }
    return temporary_;
}

void OutputFile::write(std::span<const std::uint8_t> bytes) {
    if (special_ && temporary_.empty())
        held_.assign(bytes.begin(), bytes.end());
    else
        writeTo(workPath(), O_TRUNC, bytes, name_);
}

void OutputFile::write(std::string_view text) {
    write(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

void OutputFile::commit() {
    if (special_) {
        writeTo(target_, 0, temporary_.empty() ? std::move(held_) : readAll(openInput(temporary_)), name_);
        return;
    }
    if (temporary_.empty()) return;
    const int descriptor = ::open(temporary_.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) throw systemFailure(name_, ERROR_FILE_WRITE, errno);
    struct stat old {};
    if (replaces_ && ::stat(target_.c_str(), &old) == 0 && ::fchown(descriptor, old.st_uid, old.st_gid) != 0) {
        mode_ &= 0777; // another owner's file: the new one must not run with this owner's rights
    }
    const bool good = ::fchmod(descriptor, mode_) == 0 && ::fsync(descriptor) == 0;
    const int error = errno;
    ::close(descriptor);
    if (!good) throw systemFailure(name_, ERROR_FILE_WRITE, error);
    if (::rename(temporary_.c_str(), target_.c_str()) != 0) throw systemFailure(name_, ERROR_FILE_WRITE, errno);
    forgetPending(temporary_);
    temporary_.clear();
}

bool leadToOneFile(const std::string& one, const std::string& other) {
    if (one.empty() || other.empty()) return false;
    struct stat a {
    }, b{};
    const auto find = [](const std::string& target, struct stat* status) {
        return (target == "-" ? ::fstat(STDOUT_FILENO, status) : ::stat(target.c_str(), status)) == 0;
    };
    const bool isA = find(one, &a), isB = find(other, &b);
    if (one == "-" && other == "-") return true;
    // A device takes what it gets; two pages for it don't replace each other.
    if (isA && isB) return a.st_dev == b.st_dev && a.st_ino == b.st_ino && !S_ISCHR(a.st_mode);
    if (isA || isB) return false;
    std::error_code error;
    const auto place = [&error](const std::string& target) {
        return std::filesystem::weakly_canonical(std::filesystem::absolute(followLinks(target)), error);
    };
    return place(one) == place(other);
}

void cleanUpOnSignals() {
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) ::signal(number, onSignal);
    ::signal(SIGXFSZ, SIG_IGN); // the write fails then, and that is told
}

void refuseForeignFile(const std::string& target) {
    struct stat status {};
    if (target == "-" || ::stat(target.c_str(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size == 0) return;
    if (recognizeStore(readStart(openInput(target), 80)) == StoreForm::unknown) {
        throw failure(target, ERROR_INV_PARAMETER, "the file is there and holds no annotation data");
    }
}

} // namespace kann
