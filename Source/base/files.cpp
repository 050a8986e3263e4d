#include "base/files.h"

#include <cerrno>
#include <cstring>

#include "base/platform.h"
#include "base/platform_files.h"

std::atomic<bool> file_failed;

void tell_file_error(const char* what, const char* name, int error) {
    file_failed.store(true, std::memory_order_relaxed);
    if (error) fprintf(stderr, "Can't %s '%s': %s\n", what, name, strerror(error));
    else fprintf(stderr, "Can't %s '%s'\n", what, name);
}

bool name_fresh_file(FreshFile& fresh, int number) {
    char end[16] = ".part";
    if (number > 1) snprintf(end, sizeof end, ".part%d", number);
    const size_t length = strlen(fresh.target);
    errno = ENAMETOOLONG;
    if (length + sizeof end > FILE_PATH_LENGTH) return false;
    memcpy(fresh.name, fresh.target, length);
    memcpy(fresh.name + length, end, sizeof end);
    return true;
}

const char* file_trouble(const char* name) {
    const int error = errno;
    const FileKind kind = kind_of_file(name);
    return kind == FileKind::DIRECTORY || kind == FileKind::OTHER ? "it is no plain file"
                                                                  : strerror(error);
}

FILE* open_input(const char* name) {
    FILE* file = nullptr;
    if (kind_of_file(name) == FileKind::DIRECTORY) {
        errno = EISDIR;
    } else {
        file = open_standard_input(name);
        if (!file) file = open_stream(name, "r");
    }
    if (!file) tell_file_error("read", name, errno);
    return file;
}

bool finish_input(FILE* file, const char* name) {
    const bool whole = !ferror(file);
    fclose(file);
    if (!whole) tell_file_error("read", name, EIO);
    return whole;
}

bool refuse_same_file(const char* in_name, const char* out_name) {
    if (!same_place(in_name, out_name)) return false;
    file_failed.store(true, std::memory_order_relaxed);
    fprintf(stderr, "Can't write '%s' over '%s'\n", out_name, in_name);
    return true;
}

// Tells whether an old file can perhaps be written where no new one can be made beside it.
static bool old_file_alone(int error) {
    return error == EACCES || error == EPERM || error == EROFS || error == EXDEV;
}

bool begin_output(OutputFile& file, const char* name) {
    file = {nullptr, name, nullptr};
    const FileKind kind = kind_of_file(name);
    errno = kind == FileKind::DIRECTORY ? EISDIR : ENOENT;
    if (kind == FileKind::DIRECTORY || name[0] == 0) return false;

    file.stream = open_standard_output(name);
    if (file.stream) return true;
    if (kind != FileKind::OTHER) file.stream = create_beside(name, file.fresh);
    if (file.stream) return true;
    file.fresh = nullptr;
    if (kind == FileKind::OTHER || (kind == FileKind::PLAIN && old_file_alone(errno)))
        file.stream = open_stream(name, "w");
    return file.stream != nullptr;
}

bool open_output(OutputFile& file, const char* name) {
    if (begin_output(file, name)) return true;
    tell_file_error("write", name, errno);
    return false;
}

// Closes a stream. Returns false if something of it was lost; `error` is then the reason, 0 where
// it is not known any more. What is on disk then is worth nothing.
static bool close_written(FILE* stream, bool to_disk, int& error) {
    error = 0;
    // Most of what could not be written before is tried again here, and fails again.
    bool whole = fflush(stream) == 0;
    if (!whole) error = errno;
    whole = whole && !ferror(stream);
    if (!whole && error == 0 && to_disk) {
        clearerr(stream);
        if (fputc('\n', stream) == EOF || fflush(stream) != 0) error = errno;
    }
    if (whole && to_disk) {
        error = sync_file(stream);
        whole = error == 0;
    }
    if (fclose(stream) != 0 && whole) {
        error = errno;
        whole = false;
    }
    return whole;
}

bool finish_output(OutputFile& file) {
    int error;
    const bool written = close_written(file.stream, file.fresh != nullptr, error);
    file.stream = nullptr;
    if (!written) tell_file_error("write", file.name, error);
    if (!file.fresh) return written;

    if (written) error = put_in_place(*file.fresh);
    else remove_fresh(*file.fresh);
    if (written && error) {
        // What was made in hours is not thrown away.
        file_failed.store(true, std::memory_order_relaxed);
        fprintf(stderr, "Can't replace '%s': %s. The output is in '%s'\n", file.name,
                strerror(error), file.fresh->name);
    }
    file.fresh = nullptr;
    return written && error == 0;
}

void abandon_output(OutputFile& file) {
    fclose(file.stream);
    file.stream = nullptr;
    if (file.fresh) remove_fresh(*file.fresh);
    file.fresh = nullptr;
}

bool finish_addition(FILE* file, const char* name, int64_t old_size) {
    int error;
    if (close_written(file, true, error)) return true;
    cut_file(name, old_size);
    tell_file_error("write", name, error);
    return false;
}
