// files_support.h: a directory to write in and the jobs of the program, for the tests of files.

#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/files.h"
#include "records.h"
#include "support.h"

inline std::string text_of(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Names in a directory, in order.
inline std::string names_in(const std::string& directory) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    std::string all;
    for (const std::string& name : names) all += (all.empty() ? "" : " ") + name;
    return all;
}

// What an action says on standard error.
template <class Action>
std::string errors_of(Action action) {
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
}

// Works in a directory of its own, which is the working directory meanwhile.
class FilesTest : public EngineTest {
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

inline const std::string MATE = "6k1/5ppp/8/8/8/8/8/4R1K1 w - -"; // Re8 mates

// Games whose book and scans have more than two thousand bytes.
inline std::string many_games() {
    std::string text;
    for (const char* first : {"a3", "b3", "c3", "d3", "e3", "f3", "g3", "h3", "a4", "b4", "c4",
                              "d4", "e4", "f4", "g4", "h4"})
        for (int i = 0; i < 3; i++)
            text += std::string("[Event \"x\"]\n[Result \"1-0\"]\n\n1. ") + first
                  + " {+0.10/5} a6 {-0.10/5} 2. Na3 {+0.10/5} h6 {-0.10/5} 3. Nh3 {+0.10/5} b6 "
                    "{-0.10/5} 4. Rb1 {+0.10/5} g6 {-0.10/5} 5. Rg1 {+0.10/5} c6 {-0.10/5} 6. Ra1 "
                    "{+0.10/5} d6 {-0.10/5} 7. Rh1 {+0.10/5} 1-0\n\n";
    return text;
}

// A directory with the inputs of all jobs.
inline std::string job_directory() {
    std::string directory = fresh_directory();
    std::ofstream(directory + "/games.pgn") << many_games();
    std::ofstream suite(directory + "/suite.epd");
    for (int i = 0; i < 60; i++) suite << MATE << " ce 500; gr 1.0;\n";
    std::filesystem::create_directory(directory + "/folder");
    return directory;
}

struct JobRun {
    std::vector<std::string> lines; // standard output behind the lines of the start
    std::string errors;
    int status;
};

// A run's output without the lines of the start.
inline std::vector<std::string> behind_the_start(std::vector<std::string> lines) {
    lines.erase(lines.begin(), lines.begin() + std::min<ptrdiff_t>(3, std::ssize(lines)));
    return lines;
}

inline const std::string JOBS[] = {"-anepd suite.epd -d 1 -use_hce", "-mktune1 suite.epd -d 1",
                                   "-mktune2 suite.epd -d 1 -tbpath .", "-scan_pgn1 games.pgn",
                                   "-scan_pgn2 games.pgn"};

inline std::string output_of(const std::string& job) {
    if (job.find("-anepd") == 0) return "analysis.epd";
    return job.find("-mktune") == 0 ? "tune_new.epd" : "tmp.epd";
}

inline std::string input_of(const std::string& job) {
    return job.find("-scan") == 0 ? "games.pgn" : "suite.epd";
}

// The job with another word for its input.
inline std::string reading(const std::string& job, const std::string& input) {
    std::string other = job;
    return other.replace(job.find(input_of(job)), input_of(job).size(), input);
}
