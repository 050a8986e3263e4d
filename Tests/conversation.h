// conversation.h: conversations with the real program, written as short scripts.
//
// A script is a text of lines, each a sign and what it is about:
//
//   > line     is sent
//   < regex    waits for a line that matches somewhere; lines before it are passed over
//   ! regex    no line of the conversation so far has matched; asks for "readyok" first
//   = n regex  so many lines have matched; asks for "readyok" first
//   ~ ms       waits so many milliseconds

#pragma once

#include <chrono>
#include <cstdlib>
#include <regex>
#include <string>
#include <thread>

#include "shell_fixture.h"

// A program in a conversation that has begun at one of its lines.
struct Talk {
    Program& program;
    size_t begin; // first line of the conversation
    size_t next;  // first line that no "<" has passed yet
};

inline Talk begin_talk(Program& program) {
    is_ready(program);
    return {program, program.lines.size(), program.lines.size()};
}

// Waits for a line that matches and returns it; an empty text at the end of the output.
inline std::string hear(Talk& talk, const std::string& pattern) {
    constexpr int PATIENCE_MS = 20000;
    const std::regex regex(pattern);
    std::vector<std::string>& lines = talk.program.lines;
    for (;;) {
        while (talk.next < lines.size()) {
            const std::string line = lines[talk.next++];
            if (std::regex_search(line, regex)) return line;
        }
        const size_t known = lines.size();
        wait_for(talk.program, "", PATIENCE_MS);
        if (lines.size() == known) return "";
    }
}

// Number of lines of the conversation that match, once all before has been answered.
inline int count_heard(Talk& talk, const std::string& pattern) {
    is_ready(talk.program);
    const std::regex regex(pattern);
    int count = 0;
    for (size_t i = talk.begin; i < talk.program.lines.size(); i++)
        count += std::regex_search(talk.program.lines[i], regex);
    return count;
}

inline std::string lines_of(const Talk& talk) {
    std::vector<std::string> lines(talk.program.lines.begin() + static_cast<long>(talk.begin),
                                   talk.program.lines.end());
    return joined(lines);
}

// Runs a script; the first thing that goes wrong fails the test.
inline void run_script(Program& program, const std::string& script) {
    Talk talk = begin_talk(program);
    for (const std::string& step : split_text(script)) {
        if (step.empty()) continue;
        const std::string text = step.size() > 2 ? step.substr(2) : "";
        bool well = true;
        if (step[0] == '>') send(program, text);
        else if (step[0] == '<') well = !hear(talk, text).empty();
        else if (step[0] == '!') well = count_heard(talk, text) == 0;
        else if (step[0] == '=')
            well = count_heard(talk, text.substr(text.find(' ') + 1)) == atoi(text.c_str());
        else if (step[0] == '~')
            std::this_thread::sleep_for(std::chrono::milliseconds(atoi(text.c_str())));
        else well = false;
        ASSERT_TRUE(well) << step << "\nin:\n" << script << "\nheard:\n" << lines_of(talk);
    }
}
