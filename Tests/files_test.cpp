// Files of batch jobs: what can be read and written, and that an old file gives way only to a whole
// new one.

#include "base/files.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "base/platform_files.h"
#include "shell_fixture.h"

namespace {

using Lines = std::vector<std::string>;

std::string text_of(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

mode_t mode_of(const std::string& path) {
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    return status.st_mode & 07777;
}

// Names in a directory, in order.
std::string names_in(const std::string& directory) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    std::string all;
    for (const std::string& name : names) all += (all.empty() ? "" : " ") + name;
    return all;
}

// Works in a directory of its own, which is the working directory meanwhile.
class Files : public EngineTest {
protected:
    void SetUp() override {
        kept = std::filesystem::current_path();
        std::filesystem::current_path(fresh_directory());
        file_failed = false;
    }
    void TearDown() override {
        std::filesystem::current_path(kept);
        file_failed = false;
    }

    // What an action says on standard error.
    template <class Action>
    static std::string errors_of(Action action) {
        testing::internal::CaptureStderr();
        action();
        return testing::internal::GetCapturedStderr();
    }

    // Writes a file through OutputFile. Returns whether all went well.
    static bool write(const std::string& name, const std::string& text) {
        OutputFile file;
        if (!open_output(file, name.c_str())) return false;
        fwrite(text.data(), 1, text.size(), file.stream);
        return finish_output(file);
    }

private:
    std::filesystem::path kept;
};

// Lets files grow to so many bytes only.
class SizeLimit {
public:
    explicit SizeLimit(rlim_t bytes) {
        signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before);
        rlimit limit = before;
        limit.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~SizeLimit() { setrlimit(RLIMIT_FSIZE, &before); }
    SizeLimit(const SizeLimit&) = delete;
    SizeLimit& operator=(const SizeLimit&) = delete;

private:
    rlimit before = {};
};

} // namespace

// Outputs.

TEST_F(Files, AnOutputTakesItsPlaceWhenItIsWhole) {
    std::ofstream("out") << "old";
    OutputFile file;
    ASSERT_TRUE(open_output(file, "out"));
    fputs("new", file.stream);
    fflush(file.stream);
    EXPECT_EQ(text_of("out"), "old");
    EXPECT_EQ(text_of("out.part"), "new");
    EXPECT_TRUE(finish_output(file));
    EXPECT_EQ(text_of("out"), "new");
    EXPECT_EQ(names_in("."), "out");
    EXPECT_FALSE(file_failed);
}

TEST_F(Files, AnAbandonedOutputLeavesNothing) {
    std::ofstream("out") << "old";
    OutputFile file;
    ASSERT_TRUE(open_output(file, "out"));
    fputs("new", file.stream);
    abandon_output(file);
    EXPECT_EQ(text_of("out"), "old");
    EXPECT_EQ(names_in("."), "out");
}

TEST_F(Files, ATakenNameIsLeftAlone) {
    std::ofstream("out.part") << "somebody's";
    EXPECT_TRUE(write("out", "new"));
    EXPECT_EQ(text_of("out.part"), "somebody's");
    EXPECT_EQ(text_of("out"), "new");
    EXPECT_EQ(names_in("."), "out out.part");
}

TEST_F(Files, PermissionsAreThoseOfTheOldFileOrOfAnyNewOne) {
    const mode_t mask = umask(027);
    EXPECT_TRUE(write("new", "x"));
    EXPECT_EQ(mode_of("new"), 0640u);
    for (mode_t mode : {0600u, 0664u, 0755u}) {
        chmod("new", mode);
        EXPECT_TRUE(write("new", "y"));
        EXPECT_EQ(mode_of("new"), mode);
    }
    umask(mask);
}

TEST_F(Files, AFileThatMayNotBeWrittenIsNotReplaced) {
    if (geteuid() == 0) GTEST_SKIP() << "root may write everything";
    std::ofstream("out") << "old";
    chmod("out", 0444);
    EXPECT_EQ(errors_of([] { EXPECT_FALSE(write("out", "new")); }),
              "Can't write 'out': Permission denied\n");
    EXPECT_EQ(text_of("out"), "old");
}

TEST_F(Files, ADirectoryThatTakesNoNewFilesStillHasItsOldOnesWritten) {
    if (geteuid() == 0) GTEST_SKIP() << "root may write everything";
    std::filesystem::create_directory("closed");
    std::ofstream("closed/out") << "old";
    chmod("closed", 0555);
    EXPECT_TRUE(write("closed/out", "new"));
    EXPECT_EQ(errors_of([] { EXPECT_FALSE(write("closed/other", "new")); }),
              "Can't write 'closed/other': Permission denied\n");
    chmod("closed", 0755);
    EXPECT_EQ(text_of("closed/out"), "new");
}

TEST_F(Files, SymbolicLinksAreFollowedAndStay) {
    std::filesystem::create_directory("folder");
    std::ofstream("folder/out") << "old";
    std::filesystem::create_symlink("out", "folder/inner");
    std::filesystem::create_symlink("folder/inner", "outer");
    EXPECT_TRUE(write("outer", "new"));
    EXPECT_EQ(text_of("folder/out"), "new");
    EXPECT_TRUE(std::filesystem::is_symlink("outer"));
    EXPECT_TRUE(std::filesystem::is_symlink("folder/inner"));
    EXPECT_EQ(names_in("."), "folder outer");
    EXPECT_EQ(names_in("folder"), "inner out");

    std::filesystem::create_symlink("folder/missing", "dangling");
    EXPECT_TRUE(write("dangling", "new"));
    EXPECT_EQ(text_of("folder/missing"), "new");

    std::filesystem::create_symlink("circle", "circle");
    EXPECT_NE(errors_of([] { EXPECT_FALSE(write("circle", "new")); }), "");
}

TEST_F(Files, AFullDiskIsSaidAndTheOldFileStays) {
    std::ofstream("out") << "old";
    const std::string much(100000, 'x'), little(3000, 'x');
    const std::string reason = std::string(strerror(EFBIG)) + "\n";
    for (const std::string& text : {much, little}) {
        file_failed = false;
        EXPECT_EQ(errors_of([&] {
                      SizeLimit limit(1000);
                      EXPECT_FALSE(write("out", text));
                  }),
                  "Can't write 'out': " + reason);
        EXPECT_TRUE(file_failed);
        EXPECT_EQ(text_of("out"), "old");
        EXPECT_EQ(names_in("."), "out");
    }
    EXPECT_EQ(errors_of([&] { EXPECT_FALSE(write("/dev/full", little)); }),
              "Can't write '/dev/full': No space left on device\n");
}

TEST_F(Files, WhatCanNotBeOpenedIsSaid) {
    std::filesystem::create_directory("folder");
    EXPECT_EQ(errors_of([] { EXPECT_FALSE(write("folder", "x")); }),
              "Can't write 'folder': Is a directory\n");
    EXPECT_EQ(errors_of([] { EXPECT_FALSE(write("no/such", "x")); }),
              "Can't write 'no/such': No such file or directory\n");
    EXPECT_EQ(errors_of([] { EXPECT_FALSE(write("", "x")); }),
              "Can't write '': No such file or directory\n");
    EXPECT_EQ(errors_of([] { EXPECT_FALSE(open_input("folder")); }),
              "Can't read 'folder': Is a directory\n");
    EXPECT_EQ(errors_of([] { EXPECT_FALSE(open_input("")); }),
              "Can't read '': No such file or directory\n");
    EXPECT_EQ(names_in("."), "folder");
}

TEST_F(Files, WhatCanNotBeReplacedIsKeptUnderItsOwnName) {
    OutputFile file;
    ASSERT_TRUE(open_output(file, "out"));
    fputs("the work of hours", file.stream);
    std::filesystem::create_directory("out");
    EXPECT_EQ(errors_of([&] { EXPECT_FALSE(finish_output(file)); }),
              "Can't replace 'out': Is a directory. The output is in 'out.part'\n");
    EXPECT_EQ(text_of("out.part"), "the work of hours");
    EXPECT_TRUE(file_failed);
}

TEST_F(Files, PipesAreWrittenAndReadStraight) {
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    std::string read;
    std::thread reader([&] {
        FILE* in = open_input("pipe");
        char text[100] = "";
        if (fgets(text, sizeof text, in)) read = text;
        EXPECT_EQ(file_size(in), -1);
        EXPECT_TRUE(finish_input(in, "pipe"));
    });
    EXPECT_TRUE(write("pipe", "through the pipe\n"));
    reader.join();
    EXPECT_EQ(read, "through the pipe\n");
    EXPECT_EQ(names_in("."), "pipe");
}

TEST_F(Files, AnAdditionThatFailsIsTakenBack) {
    for (rlim_t limit : {rlim_t{100000}, rlim_t{4000}}) {
        std::ofstream("out") << "old\n";
        FILE* file = fopen("out", "a");
        const long size = file_size(file);
        EXPECT_EQ(size, 4);
        std::string errors = errors_of([&] {
            SizeLimit sizes(limit);
            fputs(std::string(8000, 'x').c_str(), file);
            EXPECT_EQ(finish_addition(file, "out", size), limit > 8000);
        });
        EXPECT_EQ(errors.empty(), limit > 8000);
        EXPECT_EQ(text_of("out").size(), limit > 8000 ? 8004u : 4u);
    }
}

TEST_F(Files, OneFileIsKnownByAllItsNames) {
    std::ofstream("in") << "x";
    std::ofstream("other") << "x";
    std::filesystem::create_directory("folder");
    std::filesystem::create_hard_link("in", "hard");
    std::filesystem::create_symlink("in", "soft");
    std::filesystem::create_symlink("missing", "dangling");
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    const std::string here = std::filesystem::current_path();
    struct Names {
        std::string first, second;
        bool same;
    } const cases[] = {
        {"in", "in", true},
        {"in", "./in", true},
        {"in", here + "/folder/../in", true},
        {"in", "hard", true},
        {"soft", "hard", true},
        {"in", "other", false},
        {"in", "missing", false},
        {"pipe", "./pipe", true},
        {"/dev/null", "/dev/null", false},
        {"missing", "./missing", true},
        {"dangling", here + "/missing", true},
        {"missing", "folder/missing", false},
        {"missing", "absent", false},
        {"no/such", "no/such", false},
    };
    for (const Names& names : cases) {
        EXPECT_EQ(same_place(names.first.c_str(), names.second.c_str()), names.same)
            << names.first << " " << names.second;
        EXPECT_EQ(same_place(names.second.c_str(), names.first.c_str()), names.same);
    }
    EXPECT_EQ(errors_of([] { EXPECT_TRUE(refuse_same_file("in", "hard")); }),
              "Can't write 'hard' over 'in'\n");
    EXPECT_TRUE(file_failed);
}

TEST_F(Files, RemovingNeverTakesADirectory) {
    std::filesystem::create_directory("folder");
    std::ofstream("plain") << "x";
    EXPECT_FALSE(remove_file("folder"));
    EXPECT_TRUE(remove_file("plain"));
    EXPECT_TRUE(remove_file("plain")) << "it is gone already";
    EXPECT_EQ(names_in("."), "folder");
}
