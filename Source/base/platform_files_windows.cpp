#include "base/platform_files.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#include <windows.h>

#include "base/platform.h"
#include "base/text.h"
#include "base/windows_text.h"

// Opens what a name leads to, without a right to its contents.
static HANDLE open_for_questions(const WideText& path) {
    constexpr DWORD SHARED = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    return CreateFileW(path.text, 0, SHARED, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS,
                       nullptr);
}

FileKind kind_of_file(const char* name) {
    WideText path;
    if (!widen(name, path)) return FileKind::MISSING;
    HANDLE file = open_for_questions(path);
    if (file == INVALID_HANDLE_VALUE) return FileKind::MISSING;
    FileKind kind = FileKind::OTHER;
    BY_HANDLE_FILE_INFORMATION about;
    if (GetFileType(file) == FILE_TYPE_DISK && GetFileInformationByHandle(file, &about)) {
        const bool directory = about.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY;
        kind = directory ? FileKind::DIRECTORY : FileKind::PLAIN;
    }
    CloseHandle(file);
    return kind;
}

// The whole path of a name, which may lead to nothing.
static bool whole_path(const char* name, WideText& path) {
    WideText wide;
    if (!widen(name, wide)) return false;
    const DWORD length = GetFullPathNameW(wide.text, WIDE_LENGTH, path.text, nullptr);
    return length > 0 && length < WIDE_LENGTH;
}

// Tells whether a file could be made at that whole path, as far as its folder is there.
static bool has_folder(WideText path) {
    wchar_t* end = wcsrchr(path.text, L'\\');
    if (!end) return false;
    *end = 0;
    return GetFileAttributesW(path.text) != INVALID_FILE_ATTRIBUTES;
}

bool same_place(const char* first, const char* second) {
    const FileKind kind = kind_of_file(first);
    if (kind_of_file(second) != kind || kind == FileKind::OTHER) return false;
    if (kind != FileKind::MISSING) return same_file(first, second);
    WideText path1, path2;
    return whole_path(first, path1) && whole_path(second, path2)
        && lstrcmpiW(path1.text, path2.text) == 0 && has_folder(path1);
}

int64_t file_size(FILE* file) {
    struct __stat64 status;
    if (_fstat64(_fileno(file), &status) != 0 || !(status.st_mode & _S_IFREG)) return -1;
    return status.st_size;
}

void cut_file(const char* name, int64_t size) {
    WideText path;
    if (!widen(name, path)) return;
    int file = _wopen(path.text, _O_RDWR | _O_BINARY);
    if (file < 0) return;
    _chsize_s(file, size);
    _close(file);
}

void ignore_size_limits() {} // there are none

bool remove_file(const char* name) {
    WideText path;
    return widen(name, path) && (DeleteFileW(path.text) || GetLastError() == ERROR_FILE_NOT_FOUND);
}

// --- Standard streams -------------------------------------------------------------------------

void hold_standard_streams() {} // files get no numbers of streams here

// The names by which scripts that come from other systems know the standard streams; this one has
// none of its own that hold for pipes and files as well.
static bool names_stream(const char* name, const char* stream) { return strcmp(name, stream) == 0; }

bool is_standard_input(const char* name) { return names_stream(name, "/dev/stdin"); }

static FILE* open_copy(FILE* stream, const char* mode) {
    int copy = _dup(_fileno(stream));
    return copy < 0 ? nullptr : _fdopen(copy, mode);
}

FILE* open_standard_input(const char* name) {
    return is_standard_input(name) ? open_copy(stdin, "rb") : nullptr;
}

FILE* open_standard_output(const char* name) {
    FILE* stream = nullptr;
    if (names_stream(name, "/dev/stdout")) stream = open_copy(stdout, "wb");
    if (names_stream(name, "/dev/stderr")) stream = open_copy(stderr, "wb");
    // This system buffers either whole blocks or nothing.
    if (stream) setvbuf(stream, nullptr, _IONBF, 0);
    return stream;
}

// --- Fresh files ------------------------------------------------------------------------------

constexpr int MAX_FRESH_FILES = 4; // at one time
static FreshFile fresh_files[MAX_FRESH_FILES];

void remove_fresh(FreshFile& fresh) {
    WideText path;
    if (widen(fresh.name, path)) DeleteFileW(path.text);
    fresh.used.store(false, std::memory_order_release);
}

// The C library's streams keep files open till the very end, when they can't be removed. So they
// are marked: the system removes them when the last handle closes.
static void remove_all_fresh() {
    for (FreshFile& fresh : fresh_files) {
        WideText path;
        if (!fresh.used.load(std::memory_order_acquire) || !widen(fresh.name, path)) continue;
        if (!DeleteFileW(path.text)) {
            HANDLE file = CreateFileW(path.text, DELETE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_FLAG_DELETE_ON_CLOSE, nullptr);
            if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
        }
    }
}

static BOOL WINAPI remove_all_and_end(DWORD) {
    remove_all_fresh();
    return FALSE; // the system's own handling has its turn
}

static void watch_for_the_end() {
    static bool done;
    if (done) return;
    done = true;
    atexit(remove_all_fresh);
    SetConsoleCtrlHandler(remove_all_and_end, TRUE);
}

void end_at_once(int status) {
    remove_all_fresh();
    _Exit(status);
}

static FreshFile* find_free_slot() {
    for (FreshFile& fresh : fresh_files)
        if (!fresh.used.load(std::memory_order_relaxed)) return &fresh;
    errno = EMFILE;
    return nullptr;
}

// Why a file could not be made just now, as errno has it.
static int reason_of_refusal() {
    switch (GetLastError()) {
    case ERROR_FILE_EXISTS: return EEXIST;
    case ERROR_PATH_NOT_FOUND: return ENOENT;
    default: return EACCES;
    }
}

// A descriptor of a file that may be removed and renamed while it is open. -1 if there is one.
static int create_new(const char* name) {
    WideText path;
    errno = EINVAL;
    if (!widen(name, path)) return -1;
    HANDLE file = CreateFileW(path.text, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE,
                              nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        errno = reason_of_refusal();
        return -1;
    }
    return _open_osfhandle(reinterpret_cast<intptr_t>(file), _O_WRONLY | _O_BINARY);
}

// Creates the file under the first name that is free. Returns its descriptor, or -1.
static int create_numbered(FreshFile& fresh) {
    for (int number = 1; number <= FRESH_NAMES; number++) {
        if (!name_fresh_file(fresh, number)) return -1;
        int descriptor = create_new(fresh.name);
        if (descriptor >= 0 || errno != EEXIST) return descriptor;
    }
    return -1;
}

// Permissions are those that the directory hands down, as for any new file.
FILE* create_beside(const char* name, FreshFile*& fresh) {
    fresh = find_free_slot();
    WideText path;
    if (!fresh) return nullptr;
    errno = ENAMETOOLONG;
    if (!widen(name, path) || strlen(name) >= FILE_PATH_LENGTH) return nullptr;
    copy_text(fresh->target, name, FILE_PATH_LENGTH);
    const DWORD old = GetFileAttributesW(path.text);
    errno = EACCES;
    if (old != INVALID_FILE_ATTRIBUTES && (old & FILE_ATTRIBUTE_READONLY)) return nullptr;

    watch_for_the_end();
    int descriptor = create_numbered(*fresh);
    if (descriptor < 0) return nullptr;
    fresh->used.store(true, std::memory_order_release);
    FILE* stream = _fdopen(descriptor, "wb");
    if (stream) return stream;
    _close(descriptor);
    remove_fresh(*fresh);
    return nullptr;
}

int sync_file(FILE* file) {
    if (_commit(_fileno(file)) == 0) return 0;
    return errno == EINVAL || errno == EBADF ? 0 : errno; // not every device knows it
}

int put_in_place(FreshFile& fresh) {
    WideText from, to;
    const bool moved = widen(fresh.name, from) && widen(fresh.target, to)
                    && MoveFileExW(from.text, to.text, MOVEFILE_REPLACE_EXISTING);
    fresh.used.store(false, std::memory_order_release);
    if (moved) return 0;
    return kind_of_file(fresh.target) == FileKind::DIRECTORY ? EISDIR : EACCES;
}
