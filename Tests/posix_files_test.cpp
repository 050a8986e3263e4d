// Files of batch jobs on POSIX systems: rights, links, pipes, full disks and signals; see
// files_test.cpp.

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "base/platform_files.h"
#include "files_support.h"
#include "shell_fixture.h"

namespace {

using PosixFiles = FilesTest;
using Lines = std::vector<std::string>;

mode_t mode_of(const std::string& path) {
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    return status.st_mode & 07777;
}

// Runs the body in the working directory, in a process of a user who may not do everything: root
// goes to the one that owns nothing.
template <typename Body>
void as_anybody(Body body) {
    constexpr uid_t NOBODY = 65534;
    if (geteuid() != 0) {
        body();
        return;
    }
    chmod(".", 0777);
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        if (setgid(NOBODY) == 0 && setuid(NOBODY) == 0) body();
        else ADD_FAILURE() << "can't become another user";
        fflush(nullptr);
        _exit(testing::Test::HasFailure());
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

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

TEST_F(PosixFiles, PermissionsAreThoseOfTheOldFileOrOfAnyNewOne) {
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

TEST_F(PosixFiles, AFileThatMayNotBeWrittenIsNotReplaced) {
    as_anybody([] {
        std::ofstream("out") << "old";
        chmod("out", 0444);
        EXPECT_EQ(errors_of([] { EXPECT_FALSE(write("out", "new")); }),
                  "Can't write 'out': Permission denied\n");
        EXPECT_EQ(text_of("out"), "old");
    });
}

TEST_F(PosixFiles, ADirectoryThatTakesNoNewFilesStillHasItsOldOnesWritten) {
    as_anybody([] {
        std::filesystem::create_directory("closed");
        std::ofstream("closed/out") << "old";
        chmod("closed", 0555);
        EXPECT_TRUE(write("closed/out", "new"));
        EXPECT_EQ(errors_of([] { EXPECT_FALSE(write("closed/other", "new")); }),
                  "Can't write 'closed/other': Permission denied\n");
        chmod("closed", 0755);
        EXPECT_EQ(text_of("closed/out"), "new");
    });
}

TEST_F(PosixFiles, AFileBesideWhichThereIsNoNameLeftStaysAsItIs) {
    const std::string name(255, 'a'); // as long as a name can be
    std::ofstream(name) << "old";
    EXPECT_EQ(errors_of([&] { EXPECT_FALSE(write(name.c_str(), "new")); }),
              "Can't write '" + name + "': File name too long\n");
    EXPECT_EQ(text_of(name.c_str()), "old");
}

TEST_F(PosixFiles, SymbolicLinksAreFollowedAndStay) {
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

TEST_F(PosixFiles, AFullDiskIsSaidAndTheOldFileStays) {
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

TEST_F(PosixFiles, PipesAreWrittenAndReadStraight) {
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

TEST_F(PosixFiles, AnAdditionThatFailsIsTakenBack) {
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

// The jobs of the program.

namespace {

// Runs the program by a shell in that directory; its streams go to files beside it, so that the
// words may redirect them. `before` comes before the program on the shell's line.
JobRun run_job(const std::string& directory, const std::string& words,
               const std::string& before = "") {
    const std::string aside = fresh_directory();
    const std::string command = "cd " + directory + " && { " + before + " exec " + MIRD_BINARY + " "
                              + words + "; } >" + aside + "/out 2>" + aside + "/err";
    signal(SIGXFSZ, SIG_DFL);
    int status = system(command.c_str());
    const Lines lines = behind_the_start(read_lines(aside + "/out"));
    return {lines, text_of(aside + "/err"), WIFEXITED(status) ? WEXITSTATUS(status) : -1};
}

} // namespace

TEST(PosixJobFiles, AFullDiskIsNoSuccess) {
    const std::string directory = job_directory();
    for (const std::string& job : JOBS) {
        JobRun whole = run_job(directory, job + " -hash 1");
        EXPECT_EQ(whole.status, 0) << job;
        EXPECT_EQ(whole.errors, "") << job;
        const std::string output = directory + "/" + output_of(job);
        ASSERT_GT(std::filesystem::file_size(output), 2048u) << job;
        std::ofstream(output) << "old";
        const std::string before = names_in(directory);

        JobRun full = run_job(directory, job + " -hash 1", "ulimit -f 1;");
        EXPECT_EQ(full.status, 1) << job;
        EXPECT_EQ(full.errors, "Can't write '" + output_of(job) + "': File too large\n");
        EXPECT_EQ(full.lines.size(), whole.lines.size())
            << "what is printed is printed all the same";
        EXPECT_EQ(text_of(output), "old") << job;
        EXPECT_EQ(names_in(directory), before) << job;

        JobRun device = run_job(directory, job + " -hash 1 -o /dev/full");
        EXPECT_EQ(device.status, 1) << job;
        EXPECT_EQ(device.errors, "Can't write '/dev/full': No space left on device\n");
    }
}

TEST(PosixJobFiles, ABookThatCanNotBeWrittenLeavesTheOldOne) {
    const std::string directory = job_directory(), book = directory + "/tmp_book.bin";
    JobRun whole = run_job(directory, "-mkbook games.pgn -hash 1");
    EXPECT_EQ(whole.status, 0);
    ASSERT_GT(std::filesystem::file_size(book), 1024u);
    std::ofstream(book) << "old";
    JobRun full = run_job(directory, "-mkbook games.pgn -hash 1", "ulimit -f 1;");
    EXPECT_EQ(full.status, 1);
    EXPECT_EQ(full.errors, "Can't write 'tmp_book.bin': File too large\n");
    EXPECT_EQ(full.lines, whole.lines);
    EXPECT_EQ(text_of(book), "old");

    std::filesystem::remove(book);
    std::filesystem::create_directory(book);
    JobRun occupied = run_job(directory, "-mkbook games.pgn -hash 1");
    EXPECT_EQ(occupied.status, 1);
    EXPECT_EQ(occupied.errors, "Can't write 'tmp_book.bin': Is a directory\n");
    EXPECT_EQ(occupied.lines, whole.lines);
    EXPECT_TRUE(std::filesystem::is_directory(book)) << "though it is empty";
}

TEST(PosixJobFiles, TheSecondOutputIsLookedAtToo) {
    const std::string directory = job_directory();
    std::ofstream(directory + "/tmpX.epd") << "old";
    std::filesystem::create_symlink("/dev/full", directory + "/full");
    std::filesystem::create_directory(directory + "/sub");
    JobRun run = run_job(directory, "-scan_pgn1 games.pgn -hash 1 -o /dev/full");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(text_of(directory + "/tmpX.epd"), "old") << "both outputs are of one run";

    std::filesystem::remove(directory + "/tmpX.epd");
    run = run_job(directory, "-scan_pgn1 games.pgn -hash 1 -o ./tmpX.epd");
    EXPECT_EQ(run.errors, "Can't write 'tmpX.epd' over './tmpX.epd'\n");
    EXPECT_EQ(run.status, 1);
    EXPECT_FALSE(std::filesystem::exists(directory + "/tmpX.epd"));
}

TEST(PosixJobFiles, AReadErrorIsNoEndOfTheFile) {
    const std::string unreadable = "/proc/self/mem"; // opens like any file
    if (!std::filesystem::exists(unreadable)) GTEST_SKIP() << "no such file here";
    const std::string directory = job_directory();
    for (const std::string& job : JOBS) {
        std::ofstream(directory + "/" + output_of(job)) << "old";
        JobRun run = run_job(directory, reading(job, unreadable) + " -hash 1");
        EXPECT_EQ(run.status, 1) << job;
        EXPECT_EQ(run.errors, "Can't read '/proc/self/mem': Input/output error\n") << job;
        EXPECT_EQ(text_of(directory + "/" + output_of(job)), "old") << job;
    }
    std::ofstream(directory + "/tmp_book.bin") << "old";
    JobRun run = run_job(directory, "-hash 1 -mkbook " + unreadable);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.lines.back(), "done");
    EXPECT_EQ(text_of(directory + "/tmp_book.bin"), "old");
}

TEST(PosixJobFiles, PipesAndStandardStreamsAreFiles) {
    const std::string directory = job_directory();
    for (const std::string& job : JOBS) {
        const std::string output = directory + "/" + output_of(job), input = input_of(job);
        JobRun plain = run_job(directory, job + " -hash 1");
        const std::string expected = text_of(output);
        std::filesystem::remove(output);

        // From a pipe: standard input, whose lines are then no commands.
        JobRun piped =
            run_job(directory, reading(job, "/dev/stdin") + " -hash 1", "cat " + input + " |");
        EXPECT_EQ(piped.status, 0) << job;
        EXPECT_EQ(text_of(output), expected) << job;
        JobRun redirected = run_job(directory, reading(job, "/dev/stdin") + " -hash 1 <" + input);
        EXPECT_EQ(redirected.status, 0) << job;
        EXPECT_EQ(text_of(output), expected) << job;

        // Into one, and through one with a name.
        JobRun through = run_job(directory, job + " -hash 1 -o /dev/stdout | cat >copy", "");
        EXPECT_EQ(through.status, 0) << job;
        std::string all = text_of(directory + "/copy");
        for (const std::string& line : split_text(expected))
            EXPECT_NE(all.find(line + "\n"), std::string::npos) << job;
        run_job(directory, reading(job, "named") + " -hash 1",
                "rm -f named; mkfifo named; cat " + input + " >named &");
        EXPECT_EQ(text_of(output), expected) << job;
    }
    // And so is a file that standard output goes to: its own lines stay.
    JobRun both = run_job(directory, "-anepd suite.epd -d 1 -use_hce -o /dev/stdout");
    EXPECT_EQ(count_lines(both.lines, MATE), 60) << joined(both.lines);
    EXPECT_EQ(count_lines(both.lines, "60 / "), 0);
    EXPECT_EQ(count_lines(both.lines, "0 / 60 correct"), 1) << joined(both.lines);
}

TEST(PosixJobFiles, ABookIsMadeFromAPipe) {
    const std::string directory = job_directory(), book = directory + "/tmp_book.bin";
    JobRun plain = run_job(directory, "-mkbook games.pgn -hash 1");
    const std::string expected = text_of(book);
    std::filesystem::remove(book);
    JobRun piped = run_job(directory, "-mkbook /dev/stdin -hash 1", "cat games.pgn |");
    EXPECT_EQ(piped.status, 0);
    EXPECT_EQ(text_of(book), expected);
    EXPECT_EQ(piped.lines.size(), plain.lines.size());
}

TEST(PosixJobFiles, ASignalLeavesNothingUnfinished) {
    for (int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
        const std::string directory = fresh_directory();
        std::ofstream(directory + "/suite.epd") << START_FEN << " bm e4;\n";
        std::ofstream(directory + "/analysis.epd") << "old";
        const std::string before = names_in(directory);
        Program program = start_program({"-anepd", "suite.epd", "-use_hce"}, directory);
        ASSERT_NE(wait_for(program, "Analyzing"), "");
        EXPECT_TRUE(std::filesystem::exists(directory + "/analysis.epd.part"));
        kill(program.pid, signal_number);
        EXPECT_EQ(wait_exit(program, 60000), -1) << "ended by the signal";
        EXPECT_EQ(names_in(directory), before);
        EXPECT_EQ(text_of(directory + "/analysis.epd"), "old");
    }
}

TEST(PosixJobFiles, AFullDiskDoesNotEndAGame) {
    const std::string directory = fresh_directory();
    std::ofstream(directory + "/tmp.pgn") << "[Event \"old\"]\n\n";
    std::ofstream input(directory + "/input");
    input << "new\n";
    for (int i = 0; i < 60; i++) input << "Nf3\nNf6\nNg1\nNg8\n";
    input << "save\nbd\n";
    input.close();
    JobRun run = run_job(directory, "-c -log -use_hce -hash 1 <input | tail -n 3", "ulimit -f 1;");
    EXPECT_EQ(text_of(directory + "/tmp.pgn"), "[Event \"old\"]\n\n");
    Lines errors = split_text(run.errors);
    std::sort(errors.begin(), errors.end());
    EXPECT_EQ(joined(errors), "Can't write 'mird.log': File too large\n"
                              "Can't write 'tmp.pgn': File too large\n");
}

TEST(PosixJobFiles, ANetworkThatCanNotBeWrittenIsSaidAndUsed) {
    const std::string directory = fresh_directory();
    std::ofstream(directory + "/start.cfg") << "NN_File = new\n";
    std::ofstream(directory + "/nn.bin") << "old";
    JobRun run = run_job(directory, "-bench -d 1 -hash 1 -cfg start.cfg", "ulimit -f 4;");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "Can't write 'nn.bin': File too large\nCan't write 'nn.bin': File too "
                          "large\n")
        << "the file is loaded twice";
    EXPECT_TRUE(has_line(run.lines, "info string created new NN"));
    EXPECT_EQ(text_of(directory + "/nn.bin"), "old");
}
