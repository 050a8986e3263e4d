#include "base/platform.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <shellapi.h>
#include <timeapi.h>

#include "base/platform_files.h"
#include "base/random.h"
#include "base/windows_text.h"

bool widen(const char* name, WideText& wide) {
    wide.text[0] = 0;
    return MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, name, -1, wide.text, WIDE_LENGTH) > 0;
}

bool narrow(const wchar_t* wide, char* out, size_t size) {
    int length =
        WideCharToMultiByte(CP_UTF8, 0, wide, -1, out, static_cast<int>(size), nullptr, nullptr);
    if (length <= 0 && size > 0) out[0] = 0;
    return length > 0;
}

// --- Start and time ---------------------------------------------------------------------------

// The command line once more, in UTF-8. It lives as long as the process.
static void take_arguments(int& argc, char**& argv) {
    int count = 0;
    wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
    if (!wide) return;
    auto** texts = static_cast<char**>(calloc(static_cast<size_t>(count) + 1, sizeof(char*)));
    bool whole = texts != nullptr;
    for (int i = 0; whole && i < count; i++) {
        const size_t size = 3 * wcslen(wide[i]) + 1; // bytes that it can take at most
        texts[i] = static_cast<char*>(malloc(size));
        whole = texts[i] && narrow(wide[i], texts[i], size);
    }
    LocalFree(wide);
    if (!whole) return;
    argc = count;
    argv = texts;
}

// Lines end as everywhere else, and files hold what was written; names and texts are UTF-8.
void prepare_platform(int& argc, char**& argv) {
    _fmode = _O_BINARY;
    for (FILE* stream : {stdin, stdout, stderr}) _setmode(_fileno(stream), _O_BINARY);
    SetConsoleOutputCP(CP_UTF8);
    // A missing disk in a drive is an error like any other, and asks nobody.
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
    take_arguments(argc, argv);
}

static UINT timer_period; // milliseconds; 0: none was asked for

TimerError begin_fine_timer(int milliseconds) {
    TIMECAPS range;
    if (timeGetDevCaps(&range, sizeof range) != TIMERR_NOERROR) return TimerError::UNKNOWN_RANGE;
    auto period = static_cast<UINT>(milliseconds);
    if (period < range.wPeriodMin) period = range.wPeriodMin;
    if (period > range.wPeriodMax) period = range.wPeriodMax;
    if (timeBeginPeriod(period) != TIMERR_NOERROR) return TimerError::REFUSED;
    timer_period = period;
    return TimerError::NONE;
}

void end_fine_timer() {
    if (timer_period) timeEndPeriod(timer_period);
    timer_period = 0;
}

double monotonic_seconds() {
    static const double per_tick = [] {
        LARGE_INTEGER frequency;
        QueryPerformanceFrequency(&frequency);
        return 1.0 / static_cast<double>(frequency.QuadPart);
    }();
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    return static_cast<double>(now.QuadPart) * per_tick;
}

// The C library's rand has 15 bits, and in each thread a row of its own that begins at one seed.
static std::atomic<uint64_t> random_state;

void seed_random(unsigned seed) { random_state.store(seed, std::memory_order_relaxed); }

int random_number() {
    Random random = {random_state.fetch_add(RANDOM_STEP, std::memory_order_relaxed)};
    return static_cast<int>(next_random(random) >> 33);
}

void sleep_ms(int milliseconds) {
    if (milliseconds <= 0) SwitchToThread();
    else Sleep(static_cast<DWORD>(milliseconds));
}

// A timer that is finer than the rests of Sleep, for each thread; null where the system has none.
static HANDLE fine_timer() {
    constexpr DWORD HIGH_RESOLUTION = 2; // older headers don't name it
    thread_local HANDLE timer =
        CreateWaitableTimerExW(nullptr, nullptr, HIGH_RESOLUTION, TIMER_ALL_ACCESS);
    return timer;
}

void sleep_us(int microseconds) {
    LARGE_INTEGER due;
    due.QuadPart = -10LL * microseconds; // from now, in tenths of microseconds
    if (fine_timer() && SetWaitableTimer(fine_timer(), &due, 0, nullptr, nullptr, FALSE))
        WaitForSingleObject(fine_timer(), INFINITE);
    else Sleep(1);
}

// --- Files ------------------------------------------------------------------------------------

FILE* open_stream(const char* name, const char* mode) {
    WideText path;
    wchar_t wide_mode[8] = {};
    for (size_t i = 0; i < 7 && mode[i]; i++) wide_mode[i] = static_cast<wchar_t>(mode[i]);
    errno = ENOENT;
    return widen(name, path) ? _wfopen(path.text, wide_mode) : nullptr;
}

bool file_exists(const char* name) {
    WideText path;
    return widen(name, path) && GetFileAttributesW(path.text) != INVALID_FILE_ATTRIBUTES;
}

// Opens what a name leads to, without a right to its contents. Directories open, too.
static HANDLE open_for_questions(const char* name) {
    WideText path;
    if (!widen(name, path)) return INVALID_HANDLE_VALUE;
    constexpr DWORD SHARED = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    return CreateFileW(path.text, 0, SHARED, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS,
                       nullptr);
}

static bool describe_file(const char* name, BY_HANDLE_FILE_INFORMATION& about) {
    HANDLE file = open_for_questions(name);
    if (file == INVALID_HANDLE_VALUE) return false;
    const bool known =
        GetFileType(file) == FILE_TYPE_DISK && GetFileInformationByHandle(file, &about);
    CloseHandle(file);
    return known;
}

bool same_file(const char* first, const char* second) {
    BY_HANDLE_FILE_INFORMATION one, other;
    return describe_file(first, one) && describe_file(second, other)
        && one.dwVolumeSerialNumber == other.dwVolumeSerialNumber
        && one.nFileIndexHigh == other.nFileIndexHigh && one.nFileIndexLow == other.nFileIndexLow;
}

FILE* open_plain_file(const char* name, const char* mode) {
    const FileKind kind = kind_of_file(name);
    return kind == FileKind::PLAIN || kind == FileKind::MISSING ? open_stream(name, mode) : nullptr;
}

bool is_terminal(FILE* stream) {
    DWORD mode;
    auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
    return GetConsoleMode(handle, &mode) != 0;
}

void working_directory(char* out, size_t size) {
    WideText path;
    DWORD length = GetCurrentDirectoryW(WIDE_LENGTH, path.text);
    if (length == 0 || length >= WIDE_LENGTH || !narrow(path.text, out, size)) out[0] = 0;
}

bool output_closed() {
    HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    if (!output || output == INVALID_HANDLE_VALUE) return true;
    DWORD written;
    return GetFileType(output) == FILE_TYPE_PIPE && !WriteFile(output, "", 0, &written, nullptr);
}

void ignore_broken_pipes() {} // writing to one just fails

// --- Memory ----------------------------------------------------------------------------------

// Large pages need a right that nobody has by default, so that `huge` changes nothing here.
void* allocate_pages(size_t bytes, bool) {
    return VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

void* allocate_lines(size_t bytes) { return _aligned_malloc(bytes, CACHE_LINE); }

void free_lines(void* memory) { _aligned_free(memory); }

void free_pages(void* memory, size_t) {
    if (memory) VirtualFree(memory, 0, MEM_RELEASE);
}
