#include "base/platform_files.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using Status = struct stat;

static bool same_inode(const Status& one, const Status& other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

FileKind kind_of_file(const char* name) {
    Status status;
    if (stat(name, &status) != 0) return FileKind::MISSING;
    if (S_ISREG(status.st_mode)) return FileKind::PLAIN;
    return S_ISDIR(status.st_mode) ? FileKind::DIRECTORY : FileKind::OTHER;
}

int64_t file_size(FILE* file) {
    Status status;
    if (fstat(fileno(file), &status) != 0 || !S_ISREG(status.st_mode)) return -1;
    return status.st_size;
}

void cut_file(const char* name, int64_t size) {
    [[maybe_unused]] int failed = truncate(name, size);
}

void ignore_size_limits() { signal(SIGXFSZ, SIG_IGN); }

bool remove_file(const char* name) { return unlink(name) == 0 || errno == ENOENT; }

// Length of a path's directory, with the slash; 0 without one.
static size_t directory_length(const char* path) {
    const char* slash = strrchr(path, '/');
    return slash ? static_cast<size_t>(slash - path) + 1 : 0;
}

// Follows the symbolic links that a path ends in, also to a file that is missing. Returns false,
// with errno set, for a circle of links or too long a path.
static bool follow_links(const char* name, char path[FILE_PATH_LENGTH]) {
    constexpr int MAX_LINKS = 40; // as systems have it

    size_t length = strlen(name);
    errno = ENAMETOOLONG;
    if (length >= FILE_PATH_LENGTH) return false;
    memcpy(path, name, length + 1);
    for (int i = 0; i < MAX_LINKS; i++) {
        char link[FILE_PATH_LENGTH];
        ssize_t count = readlink(path, link, sizeof link);
        if (count < 0) return true;
        length = static_cast<size_t>(count);
        size_t kept = count > 0 && link[0] == '/' ? 0 : directory_length(path);
        errno = ENAMETOOLONG;
        if (kept + length >= FILE_PATH_LENGTH) return false;
        memcpy(path + kept, link, length);
        path[kept + length] = 0;
    }
    errno = ELOOP;
    return false;
}

// Tells whether two paths have one last name in one directory.
static bool same_entry(const char* first, const char* second) {
    const size_t length1 = directory_length(first), length2 = directory_length(second);
    if (strcmp(first + length1, second + length2) != 0) return false;

    char directory1[FILE_PATH_LENGTH + 1], directory2[FILE_PATH_LENGTH + 1];
    snprintf(directory1, sizeof directory1, "%.*s.", static_cast<int>(length1), first);
    snprintf(directory2, sizeof directory2, "%.*s.", static_cast<int>(length2), second);
    Status one, other;
    return stat(directory1, &one) == 0 && stat(directory2, &other) == 0 && same_inode(one, other);
}

bool same_place(const char* first, const char* second) {
    Status one, other;
    const bool there = stat(first, &one) == 0;
    if ((stat(second, &other) == 0) != there) return false;
    if (there) return same_inode(one, other) && !S_ISCHR(one.st_mode) && !S_ISSOCK(one.st_mode);

    char path1[FILE_PATH_LENGTH], path2[FILE_PATH_LENGTH];
    return follow_links(first, path1) && follow_links(second, path2) && same_entry(path1, path2);
}

// --- Standard streams -------------------------------------------------------------------------

void hold_standard_streams() {
    // Each file gets the lowest number that is free.
    int file = 0;
    while (file >= 0 && file <= STDERR_FILENO) file = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (file >= 0) close(file);
}

static bool leads_to(const Status& status, int descriptor) {
    Status own;
    return fstat(descriptor, &own) == 0 && same_inode(own, status);
}

bool is_standard_input(const char* name) {
    Status status;
    return stat(name, &status) == 0 && leads_to(status, STDIN_FILENO);
}

static FILE* open_copy(int descriptor, const char* mode) {
    int copy = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    return copy < 0 ? nullptr : fdopen(copy, mode);
}

FILE* open_standard_input(const char* name) {
    if (kind_of_file(name) == FileKind::PLAIN || !is_standard_input(name)) return nullptr;
    return open_copy(STDIN_FILENO, "r");
}

FILE* open_standard_output(const char* name) {
    Status status;
    if (stat(name, &status) != 0) return nullptr;
    for (int descriptor : {STDOUT_FILENO, STDERR_FILENO}) {
        if (!leads_to(status, descriptor)) continue;
        FILE* stream = open_copy(descriptor, "w");
        if (stream) setvbuf(stream, nullptr, _IOLBF, BUFSIZ);
        return stream;
    }
    return nullptr;
}

// --- Fresh files ------------------------------------------------------------------------------

constexpr int MAX_FRESH_FILES = 4; // at one time
static FreshFile fresh_files[MAX_FRESH_FILES];

void remove_fresh(FreshFile& fresh) {
    unlink(fresh.name);
    fresh.used.store(false, std::memory_order_release);
}

static void remove_all_fresh() {
    for (FreshFile& fresh : fresh_files)
        if (fresh.used.load(std::memory_order_acquire)) unlink(fresh.name);
}

// The system's own handling is back in force, and has its turn when this returns.
static void remove_all_and_end(int signal_number) {
    remove_all_fresh();
    raise(signal_number);
}

// Nothing unfinished is to be left behind. Signals that are ignored or handled already stay so.
static void watch_for_the_end() {
    static bool done;
    if (done) return;
    done = true;
    atexit(remove_all_fresh);
    for (int signal_number : {SIGHUP, SIGINT, SIGTERM}) {
        struct sigaction action = {};
        sigaction(signal_number, nullptr, &action);
        if ((action.sa_flags & SA_SIGINFO) || action.sa_handler != SIG_DFL) continue;
        action = {};
        action.sa_handler = remove_all_and_end;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        sigemptyset(&action.sa_mask);
        sigaction(signal_number, &action, nullptr);
    }
}

// Not every system has quick_exit.
void end_at_once(int status) {
    remove_all_fresh();
    _exit(status);
}

static FreshFile* find_free_slot() {
    for (FreshFile& fresh : fresh_files)
        if (!fresh.used.load(std::memory_order_relaxed)) return &fresh;
    errno = EMFILE;
    return nullptr;
}

// Creates the file under the first name that is free. Returns its descriptor, or -1.
static int create_numbered(FreshFile& fresh, mode_t mode) {
    for (int number = 1; number <= FRESH_NAMES; number++) {
        if (!name_fresh_file(fresh, number)) return -1;
        int descriptor = open(fresh.name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        if (descriptor >= 0 || errno != EEXIST) return descriptor;
    }
    return -1;
}

// Gives a file the owner and the permissions of another one, as far as that is allowed.
static void take_over(int descriptor, const Status& old) {
    Status own;
    if (fstat(descriptor, &own) != 0) return;
    if (own.st_uid != old.st_uid || own.st_gid != old.st_gid) {
        [[maybe_unused]] int failed = fchown(descriptor, old.st_uid, old.st_gid);
    }
    fchmod(descriptor, old.st_mode & 07777);
}

FILE* create_beside(const char* name, FreshFile*& fresh) {
    constexpr mode_t ANY_NEW_FILE = 0666, OURS_ALONE = 0600;

    fresh = find_free_slot();
    if (!fresh || !follow_links(name, fresh->target)) return nullptr;
    Status old, target;
    const bool replaces = stat(name, &old) == 0;
    if (replaces && (stat(fresh->target, &target) != 0 || !same_inode(old, target))) {
        errno = EXDEV; // a link that is no path, such as to an open file without a name
        return nullptr;
    }
    if (replaces && access(fresh->target, W_OK) != 0) return nullptr;

    watch_for_the_end();
    int descriptor = create_numbered(*fresh, replaces ? OURS_ALONE : ANY_NEW_FILE);
    if (descriptor < 0) return nullptr;
    fresh->used.store(true, std::memory_order_release);
    if (replaces) take_over(descriptor, old);
    FILE* stream = fdopen(descriptor, "w");
    if (stream) return stream;
    close(descriptor);
    remove_fresh(*fresh);
    return nullptr;
}

int sync_file(FILE* file) {
    if (fsync(fileno(file)) == 0) return 0;
    return errno == EINVAL || errno == ENOTSUP ? 0 : errno; // not every file system knows it
}

int put_in_place(FreshFile& fresh) {
    int error = rename(fresh.name, fresh.target) == 0 ? 0 : errno;
    fresh.used.store(false, std::memory_order_release);
    return error;
}
