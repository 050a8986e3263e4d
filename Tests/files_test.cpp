// Files of batch jobs: what can be read and written, and that an old file gives way only to a whole
// new one. posix_files_test.cpp has what needs rights, links, pipes and signals.

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "base/platform_files.h"
#include "files_support.h"
#include "shell_fixture.h"

namespace {

using Files = FilesTest;

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

TEST_F(Files, OneFileIsKnownByAllItsNames) {
    std::ofstream("in") << "x";
    std::ofstream("other") << "x";
    std::filesystem::create_directory("folder");
    std::filesystem::create_hard_link("in", "hard");
    const bool links = make_link("in", "soft") && make_link("missing", "dangling");
    const bool pipes = make_named_pipe("pipe");
    const std::string here = std::filesystem::current_path().string();
    struct Names {
        std::string first, second;
        bool same;
        bool there = true; // not all systems have all kinds
    } const cases[] = {
        {"in", "in", true},
        {"in", "./in", true},
        {"in", here + "/folder/../in", true},
        {"in", "hard", true},
        {"soft", "hard", true, links},
        {"in", "other", false},
        {"in", "missing", false},
        {"pipe", "./pipe", true, pipes},
        {null_device(), null_device(), false},
        {"missing", "./missing", true},
        {"dangling", here + "/missing", true, links},
        {"missing", "folder/missing", false},
        {"missing", "absent", false},
        {"no/such", "no/such", false},
    };
    for (const Names& names : cases) {
        if (!names.there) continue;
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

// The jobs of the program.

namespace {

// Runs the program in that directory; `words` are its arguments. `input`, of some kilobytes at
// most, comes by a pipe.
JobRun run_job(const std::string& directory, const std::string& words,
               const std::string& input = "") {
    std::vector<std::string> arguments;
    std::istringstream text(words);
    for (std::string word; text >> word;) arguments.push_back(word);
    JobRun run = {};
    run.errors = errors_of([&] {
        Program program = start_program(arguments, directory);
        send_bytes(program, input);
        close_input(program);
        run.status = wait_exit(program, 60000);
        run.lines = behind_the_start(program.lines);
    });
    return run;
}

} // namespace

TEST(JobFiles, WhatCanNotBeOpenedIsSaidInOneLine) {
    const std::string directory = job_directory();
    const std::string before = names_in(directory);
    auto expect_refused = [&](const std::string& words, const std::string& error) {
        JobRun run = run_job(directory, "-hash 1 " + words);
        EXPECT_EQ(run.status, 1) << words;
        EXPECT_EQ(joined(run.lines), "") << words;
        EXPECT_EQ(run.errors, error + "\n") << words;
        EXPECT_EQ(names_in(directory), before) << words;
    };
    for (const std::string& job : JOBS) {
        const std::string input = input_of(job);
        expect_refused(reading(job, "no-such"), "Can't read 'no-such': No such file or directory");
        expect_refused(reading(job, "folder"), "Can't read 'folder': Is a directory");
        expect_refused(job + " -o folder", "Can't write 'folder': Is a directory");
        expect_refused(job + " -o no/such", "Can't write 'no/such': No such file or directory");
        expect_refused(job + " -o " + input, "Can't write '" + input + "' over '" + input + "'");
        expect_refused(job + " -o ./" + input,
                       "Can't write './" + input + "' over '" + input + "'");
    }
    expect_refused("-mkbook no-such", "Can't read 'no-such': No such file or directory");
    expect_refused("-mkbook folder", "Can't read 'folder': Is a directory");
    expect_refused("-mkbook", "Can't read '': No such file or directory");
    EXPECT_EQ(text_of(directory + "/games.pgn"), many_games()) << "the input is not touched";
}

TEST(JobFiles, AnAnalysisIsNotWrittenOverItself) {
    const std::string directory = job_directory(), analysis = directory + "/analysis.epd";
    std::ofstream(analysis) << MATE << " bm Re8;\n";
    JobRun run = run_job(directory, "-anepd analysis.epd -d 1 -use_hce");
    EXPECT_EQ(run.errors, "Can't write 'analysis.epd' over 'analysis.epd'\n");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(text_of(analysis), MATE + " bm Re8;\n");
    std::filesystem::create_hard_link(analysis, directory + "/hard");
    const bool links = make_link("analysis.epd", directory + "/soft");
    for (const char* name : {"hard", links ? "soft" : "hard"}) {
        run = run_job(directory, std::string("-anepd analysis.epd -d 1 -use_hce -o ") + name);
        EXPECT_EQ(run.status, 1) << name;
        EXPECT_EQ(text_of(analysis), MATE + " bm Re8;\n") << name;
    }
}

TEST(JobFiles, StandardStreamsAreFiles) {
    const std::string directory = job_directory();
    for (const std::string& job : JOBS) {
        const std::string output = directory + "/" + output_of(job), input = input_of(job);
        EXPECT_EQ(run_job(directory, job + " -hash 1").status, 0) << job;
        const std::string expected = text_of(output);
        std::filesystem::remove(output);

        JobRun piped = run_job(directory, reading(job, "/dev/stdin") + " -hash 1",
                               text_of(directory + "/" + input));
        EXPECT_EQ(piped.status, 0) << job;
        EXPECT_EQ(text_of(output), expected) << job;
        JobRun through = run_job(directory, job + " -hash 1 -o /dev/stdout");
        EXPECT_EQ(through.status, 0) << job;
        for (const std::string& line : split_text(expected))
            EXPECT_TRUE(has_line(through.lines, line)) << job << ": " << line;
    }
}
