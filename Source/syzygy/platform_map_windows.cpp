#include "syzygy/platform_map.h"

#include <windows.h>

#include "base/windows_text.h"

static const uint8_t EMPTY_FILE[1] = {};

// Handles stand in a table, since the interface numbers open files. Under the lock of first use.
constexpr int OPEN_FILES = 16;
static HANDLE open_files[OPEN_FILES];

int open_file(const char* path) {
    int slot = 0;
    while (slot < OPEN_FILES && open_files[slot]) slot++;
    WideText wide;
    if (slot == OPEN_FILES || !widen(path, wide)) return NO_FILE;
    HANDLE file = CreateFileW(wide.text, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                              FILE_FLAG_RANDOM_ACCESS, nullptr);
    if (file == INVALID_HANDLE_VALUE) return NO_FILE; // directories are refused by the system
    if (GetFileType(file) != FILE_TYPE_DISK) {
        CloseHandle(file);
        return NO_FILE;
    }
    open_files[slot] = file;
    return slot;
}

void close_file(int file) {
    CloseHandle(open_files[file]);
    open_files[file] = nullptr;
}

int map_file(FileMapping& mapping, int file) {
    mapping = {};
    LARGE_INTEGER size;
    if (!GetFileSizeEx(open_files[file], &size)) return static_cast<int>(GetLastError());
    if (size.QuadPart == 0) {
        mapping = {EMPTY_FILE, 0, NO_FILE};
        return 0;
    }
    HANDLE section = CreateFileMappingW(open_files[file], nullptr, PAGE_READONLY, 0, 0, nullptr);
    if (!section) return NO_SECTION;
    const void* memory = MapViewOfFile(section, FILE_MAP_READ, 0, 0, 0);
    const auto error = static_cast<int>(GetLastError());
    CloseHandle(section); // the view keeps it alive
    if (!memory) return error;
    mapping = {static_cast<const uint8_t*>(memory), static_cast<size_t>(size.QuadPart), 0};
    return 0;
}

int unmap_file(FileMapping& mapping) {
    FileMapping old = mapping;
    mapping = {};
    if (!old.data || old.size == 0) return 0;
    return UnmapViewOfFile(old.data) ? 0 : static_cast<int>(GetLastError());
}

// The system lets nobody cut a file that is mapped.
bool mapping_lost(const FileMapping&) { return false; }
