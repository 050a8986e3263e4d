#include "Training/safe_file.h"

#include <unistd.h>

static std::string fresh_name(const std::string& path) { return path + ".new"; }

FILE* begin_file(const std::string& path) { return fopen(fresh_name(path).c_str(), "wb"); }

bool finish_file(FILE* file, const std::string& path, bool written) {
    written = written && fflush(file) == 0 && !ferror(file) && fsync(fileno(file)) == 0;
    written = fclose(file) == 0 && written;
    return written && rename(fresh_name(path).c_str(), path.c_str()) == 0;
}
