// Every option by name: clamps, messages, where the value lands, and what a busy engine refuses;
// and the page of the guide beside the table.
//
// Pins internals: the field that each option lands in.

#include "shell/options.h"

#include "shell/console.h"

#include "base/option_table.h"
#include "base/text.h"
#include "search/hash.h"
#include "shell/think.h"
#include "shell_fixture.h"

namespace {

std::vector<std::string> set(const char* name, const char* value) {
    return printed_by([&] { SetOption(name, value); });
}

// A console line, as a person types it.
void console(const std::string& line) {
    std::vector<char> text(line.begin(), line.end());
    text.push_back(0);
    printed_by([&] { handle_console(text.data()); });
}

class Options : public ShellTest {};

struct SpinCase {
    const char* name; // becomes part of the test's name
    int16_t Personality::*field;
    int least, most;
};

void PrintTo(const SpinCase& c, std::ostream* out) { *out << c.name; }

class SpinOption : public ShellTest, public testing::WithParamInterface<SpinCase> {};

struct CheckCase {
    const char* name;
    int16_t Personality::*field;
};

void PrintTo(const CheckCase& c, std::ostream* out) { *out << c.name; }

class CheckOption : public ShellTest, public testing::WithParamInterface<CheckCase> {};

struct TextCase {
    const char* name;
    char* field;
    size_t size;
};

void PrintTo(const TextCase& c, std::ostream* out) { *out << c.name; }

class TextOption : public ShellTest, public testing::WithParamInterface<TextCase> {};

template <class Case>
std::string case_name(const testing::TestParamInfo<Case>& test) {
    return test.param.name;
}

} // namespace

TEST_P(SpinOption, IsClampedAndReported) {
    const SpinCase& c = GetParam();
    const std::string prefix = std::string("info string ") + c.name + " set to ";
    const int values[][2] = {{c.least, c.least},   {c.most, c.most},    {c.least - 1, c.least},
                             {c.most + 1, c.most}, {-1000000, c.least}, {1000000, c.most}};
    for (auto& [value, kept] : values) {
        std::vector<std::string> lines = set(c.name, std::to_string(value).c_str());
        EXPECT_EQ(joined(lines), prefix + std::to_string(kept) + "\n");
        EXPECT_EQ(active_personality.*c.field, kept);
    }
}

TEST_P(SpinOption, JunkReadsAsZero) {
    const SpinCase& c = GetParam();
    set(c.name, "junk");
    EXPECT_EQ(active_personality.*c.field, std::max(c.least, 0));
    set(c.name, "");
    EXPECT_EQ(active_personality.*c.field, std::max(c.least, 0));
    set(c.name, "99999999999999999999");
    EXPECT_EQ(active_personality.*c.field, c.most);
}

TEST_P(SpinOption, AppliesWhileASearchRuns) {
    const SpinCase& c = GetParam();
    set_relaxed(engine.game_state, STATE_THINKING);
    EXPECT_EQ(set(c.name, std::to_string(c.most).c_str()).size(), 1u);
    EXPECT_EQ(active_personality.*c.field, c.most);
}

INSTANTIATE_TEST_SUITE_P(
    Table, SpinOption,
    testing::Values(SpinCase{"MoveOverhead", &Personality::MoveOverhead, 0, 5000},
                    SpinCase{"Contempt", &Personality::Contempt, -150, 150},
                    SpinCase{"Selectivity", &Personality::Selectivity, 0, 200},
                    SpinCase{"MultiPV", &Personality::MultiPV, 1, 255},
                    SpinCase{"OwnBook_Variety", &Personality::OwnBook_Variety, 0, 100},
                    SpinCase{"OwnBook_Depth", &Personality::OwnBook_Depth, 0, 60},
                    SpinCase{"OwnBook2_Depth", &Personality::OwnBook2_Depth, 0, 60},
                    SpinCase{"SyzygyProbeDepth6", &Personality::SyzygyProbeDepth6, -5, 100},
                    SpinCase{"UCI_Elo", &Personality::UCI_Elo, 1500, 3300}),
    case_name<SpinCase>);

TEST_P(CheckOption, IsOnWhereTrueOccurs) {
    const CheckCase& c = GetParam();
    const std::pair<const char*, int> values[] = {{"true", 1},   {"false", 0},  {"  true ", 1},
                                                  {"TRUE", 0},   {"untrue", 1}, {"True", 0},
                                                  {"truely", 1}, {"1", 0},      {"", 0}};
    for (auto& [value, on] : values) {
        EXPECT_EQ(joined(set(c.name, value)),
                  std::string("info string ") + c.name + " set to " + std::to_string(on) + "\n");
        EXPECT_EQ(active_personality.*c.field, on) << value;
    }
}

INSTANTIATE_TEST_SUITE_P(Table, CheckOption,
                         testing::Values(CheckCase{"Ponder", &Personality::Ponder},
                                         CheckCase{"OwnBook", &Personality::OwnBook},
                                         CheckCase{"UCI_LimitStrength",
                                                   &Personality::UCI_LimitStrength}),
                         case_name<CheckCase>);

TEST_P(TextOption, IsStoredAndReported) {
    const TextCase& c = GetParam();
    EXPECT_EQ(set(c.name, "/some where/file")[0],
              std::string("info string ") + c.name + " set to '/some where/file'");
    EXPECT_STREQ(c.field, "/some where/file");
    EXPECT_EQ(set(c.name, "")[0], std::string("info string ") + c.name + " set to ''");
    EXPECT_STREQ(c.field, "");
}

TEST_P(TextOption, IsCutToItsField) {
    const TextCase& c = GetParam();
    set(c.name, std::string(200, 'x').c_str());
    EXPECT_EQ(c.field, std::string(c.size - 1, 'x'));
}

INSTANTIATE_TEST_SUITE_P(
    Table, TextOption,
    testing::Values(TextCase{"OwnBook_File", active_personality.OwnBook_File, PATH_LENGTH},
                    TextCase{"OwnBook2_File", active_personality.OwnBook2_File, PATH_LENGTH},
                    TextCase{"SyzygyPath", active_personality.SyzygyPath, PATH_LENGTH},
                    TextCase{"ConfigFilePath", active_personality.ConfigFilePath, PATH_LENGTH}),
    case_name<TextCase>);

TEST_F(Options, NamesAreExactAndCaseSensitive) {
    for (const char* name : {"", "contempt", "CONTEMPT", "Contempt ", " Contempt", "Contemp",
                             "hash", "Nosuch", "Clear Hash", "SyzygyProbeDepth", "Use_NN"})
        EXPECT_EQ(joined(set(name, "7")), "") << name;
    EXPECT_EQ(active_personality.Contempt, 0);
}

TEST_F(Options, EvaluatorAndChess960AreFlagsOfTheRun) {
    EXPECT_EQ(set("Use_NN_eval", "true")[0], "info string Use_NN_eval set to 1");
    EXPECT_EQ(relaxed(shell.use_nn), 1);
    EXPECT_EQ(set("Use_NN_eval", "false")[0], "info string Use_NN_eval set to 0");
    EXPECT_EQ(relaxed(shell.use_nn), 0);

    EXPECT_EQ(set("UCI_Chess960", "true")[0], "info string UCI_Chess960 set to 1");
    EXPECT_EQ(relaxed(shell.chess960), 1);
    set_relaxed(engine.game_state, STATE_THINKING);
    EXPECT_EQ(set("UCI_Chess960", "false")[0], "info string UCI_Chess960 set to 0");
    EXPECT_EQ(relaxed(shell.chess960), 0);
}

TEST_F(Options, HashIsClampedAndKeepsATableOfThatSize) {
    // The values equal the size that is in force, so that no table is made.
    engine.hash_mb = 32768;
    EXPECT_EQ(joined(set("Hash", "100000")), "info string Hash set to 32768\n");
    EXPECT_EQ(active_personality.Hash, 32768);
    engine.hash_mb = 0;
    EXPECT_EQ(joined(set("Hash", "-7")), "info string Hash set to 0\n");
    EXPECT_EQ(joined(set("Hash", "junk")), "info string Hash set to 0\n");
    EXPECT_EQ(active_personality.Hash, 0);
    engine.hash_mb = 64;
}

TEST_F(Options, AnotherHashSizeMakesAnotherTable) {
    EXPECT_EQ(joined(set("Hash", "2")),
              "info string Hash set to 2\ninfo string allocated 2 Mbytes for hash table\n");
    EXPECT_EQ(engine.hash_mb, 2);
    EXPECT_EQ(active_personality.Hash, 2);
    EXPECT_EQ(hash_entries, 2 * 65536u);
    EXPECT_EQ(joined(set("Hash", "2")), "info string Hash set to 2\n");
}

TEST_F(Options, AHashOfNoMegabytesIsSwitchedOffUntilThereIsOneAgain) {
    set("Hash", "0");
    EXPECT_EQ(hash_entries, 0u);
    printed_by([] { prepare_search(); });
    EXPECT_EQ(engine.hash_enabled, 0);
    uci("ucinewgame");
    set("Clear_Hash", "x");

    set("Hash", "1");
    printed_by([] { prepare_search(); });
    EXPECT_EQ(engine.hash_enabled, 1);
    EXPECT_EQ(hash_entries, 65536u);
}

TEST_F(Options, AHashSwitchedOffAtTheConsoleStaysOff) {
    console("set hash 0");
    EXPECT_EQ(engine.hash_enabled, 0);
    set("Hash", "0");
    printed_by([] { prepare_search(); });
    set("Hash", "1");
    printed_by([] { prepare_search(); });
    EXPECT_EQ(engine.hash_enabled, 0);

    console("set hash 1");
    printed_by([] { prepare_search(); });
    EXPECT_EQ(engine.hash_enabled, 1);
}

TEST_F(Options, ThreadsGoDownToZero) {
    EXPECT_EQ(joined(set("Threads", "0")), "info string Threads set to 0\n");
    EXPECT_EQ(engine.num_threads, 0);
    EXPECT_EQ(active_personality.Threads, 0);
    EXPECT_EQ(joined(set("Threads", "161")), "info string Threads set to 160\n");
    EXPECT_EQ(engine.num_threads, 160);
    EXPECT_EQ(joined(set("Threads", "-1")), "info string Threads set to 0\n");
    EXPECT_EQ(joined(set("Threads", "3")), "info string Threads set to 3\n");
    EXPECT_EQ(active_personality.Threads, 3);
}

TEST_F(Options, WhatNeedsAnIdleEngineIsIgnoredInSilenceWhileOneRuns) {
    for (int state : {int{STATE_THINK_REQUEST}, int{STATE_THINKING}, int{STATE_PONDERING},
                      int{STATE_BATCH}, STATE_THINKING | STATE_OVER}) {
        set_relaxed(engine.game_state, state);
        EXPECT_EQ(joined(set("Hash", "3")), "");
        EXPECT_EQ(joined(set("Threads", "3")), "");
        EXPECT_EQ(joined(set("Clear_Hash", "x")), "");
        EXPECT_EQ(joined(set("ConfigFilePath", "some.cfg")), "");
    }
    EXPECT_EQ(engine.hash_mb, 64);
    EXPECT_EQ(active_personality.Hash, 64);
    EXPECT_EQ(engine.num_threads, 1);
    EXPECT_STREQ(active_personality.ConfigFilePath, "");
}

TEST_F(Options, TheHashButtonAnswersAlsoWithoutATable) {
    engine.hash_enabled = 0;
    EXPECT_EQ(joined(set("Clear_Hash", "")), "info string Hash table cleared\n");
}

TEST_F(Options, ThinkTakesUpItsSettings) {
    set("MoveOverhead", "120");
    set("Ponder", "false");
    set("MultiPV", "5");
    EXPECT_NE(engine.multipv, 5) << "not before the next think";
    printed_by([] { prepare_search(); });
    EXPECT_FLOAT_EQ(engine.move_overhead, 0.12f);
    EXPECT_EQ(engine.ponder_enabled, 0);
    EXPECT_EQ(engine.multipv, 5);
}

TEST_F(Options, TheConsoleReturnsToTheDefaults) {
    uci("setoption name Contempt value 7");
    active_personality.NMP_depth = 99;
    active_personality.Contempt = 50;
    console("set ss 1");
    EXPECT_EQ(active_personality.NMP_depth, 3);
    EXPECT_EQ(active_personality.Contempt, 7);
}

TEST_F(Options, CheckLinesSayTrueOrFalse) {
    EXPECT_EQ(joined(printed_by([] { PrintCheckOption("Ponder", 1); })),
              "option name Ponder type check default true\n");
    EXPECT_EQ(joined(printed_by([] { PrintCheckOption("Ponder", 0); })),
              "option name Ponder type check default false\n");
    EXPECT_EQ(joined(printed_by([] { PrintCheckOption("X", 7); })),
              "option name X type check default true\n");
}

TEST_F(Options, NumbersReadAsTheirStandardFormsDo) {
    EXPECT_EQ(read_integer("12abc"), 12);
    EXPECT_EQ(read_integer("  -7"), -7);
    EXPECT_EQ(read_integer("+3"), 3);
    EXPECT_EQ(read_integer("junk"), 0);
    EXPECT_EQ(read_integer(""), 0);
    EXPECT_EQ(read_integer("3000000000"), INT_MAX);
    EXPECT_EQ(read_integer("-3000000000"), INT_MIN);
    EXPECT_FLOAT_EQ(read_number("0.5"), 0.5f);
    EXPECT_FLOAT_EQ(read_number("-2e3x"), -2000.0f);
    EXPECT_FLOAT_EQ(read_number("junk"), 0.0f);
    EXPECT_FLOAT_EQ(read_number("nan"), 0.0f);
    EXPECT_FLOAT_EQ(read_number("inf"), 0.0f);
}

TEST_F(Options, TheListingHasItsFixedOrder) {
    engine.calibration_elo = 3210.7f;
    EXPECT_EQ(joined(printed_by([] { print_options(); })),
              "option name ConfigFilePath type string default \n"
              "option name Hash type spin default 64 min 0 max 32768\n"
              "option name Threads type spin default 1 min 1 max 160\n"
              "option name Clear_Hash type button\n"
              "option name NN_File type string default embedded\n"
              "option name Use_NN_eval type check default true\n"
              "option name OwnBook type check default false\n"
              "option name OwnBook_File type string default \n"
              "option name OwnBook_Depth type spin default 24 min 0 max 60\n"
              "option name OwnBook2_File type string default \n"
              "option name OwnBook2_Depth type spin default 0 min 0 max 60\n"
              "option name OwnBook_Variety type spin default 25 min 0 max 100\n"
              "option name SyzygyPath type string default \n"
              "option name SyzygyProbeDepth6 type spin default 1 min -5 max 100\n"
              "option name Log type check default false\n"
              "option name Ponder type check default true\n"
              "option name MultiPV type spin default 1 min 1 max 255\n"
              "option name UCI_Chess960 type check default false\n"
              "option name MoveOverhead type spin default 50 min 0 max 5000\n"
              "option name UCI_LimitStrength type check default false\n"
              "option name UCI_Elo type spin default 3210 min 1500 max 3210\n"
              "option name Contempt type spin default 0 min -150 max 150\n"
              "option name Selectivity type spin default 100 min 0 max 200\n");
}

TEST_F(Options, TheListingShowsWhatIsInForce) {
    for (const char* line :
         {"setoption name OwnBook_File value my book.bin", "setoption name OwnBook value true",
          "setoption name OwnBook_Depth value 11", "setoption name OwnBook2_File value b2.bin",
          "setoption name OwnBook2_Depth value 12", "setoption name OwnBook_Variety value 13",
          "setoption name SyzygyPath value /t1;/t2", "setoption name SyzygyProbeDepth6 value -3",
          "setoption name Ponder value false", "setoption name MultiPV value 4",
          "setoption name UCI_Chess960 value true", "setoption name MoveOverhead value 77",
          "setoption name UCI_LimitStrength value true", "setoption name UCI_Elo value 1800",
          "setoption name Contempt value -9", "setoption name Selectivity value 90",
          "setoption name Threads value 2"})
        uci(line);
    engine.calibration_elo = 3210.7f;
    std::vector<std::string> lines = printed_by([] { print_options(); });
    for (const char* line : {"option name OwnBook_File type string default my book.bin",
                             "option name OwnBook type check default true",
                             "option name OwnBook_Depth type spin default 11 min 0 max 60",
                             "option name OwnBook2_File type string default b2.bin",
                             "option name OwnBook2_Depth type spin default 12 min 0 max 60",
                             "option name OwnBook_Variety type spin default 13 min 0 max 100",
                             "option name SyzygyPath type string default /t1;/t2",
                             "option name SyzygyProbeDepth6 type spin default -3 min -5 max 100",
                             "option name Ponder type check default false",
                             "option name MultiPV type spin default 4 min 1 max 255",
                             "option name UCI_Chess960 type check default true",
                             "option name MoveOverhead type spin default 77 min 0 max 5000",
                             "option name UCI_LimitStrength type check default true",
                             "option name UCI_Elo type spin default 1800 min 1500 max 3210",
                             "option name Contempt type spin default -9 min -150 max 150",
                             "option name Selectivity type spin default 90 min 0 max 200",
                             "option name Threads type spin default 2 min 1 max 160"})
        EXPECT_TRUE(has_line(lines, line)) << line;
}

// The page of the guide.

namespace {

std::string kind_text(const Option& option) {
    switch (option.kind) {
    case OptionKind::CHECK: return "check";
    case OptionKind::TEXT: return "text";
    case OptionKind::BUTTON: return "button";
    default: return "spin";
    }
}

std::string effect_text(const Option& option) {
    switch (option.effect) {
    case OptionEffect::WHEN_READ: return "at once";
    case OptionEffect::NEXT_THINK: return "next think";
    case OptionEffect::AFTER_SEARCH: return "behind the search";
    default: return "when idle";
    }
}

// The cells of a table's row, without the blanks around them.
std::vector<std::string> cells(const std::string& line) {
    std::vector<std::string> found;
    std::istringstream text(line.substr(1));
    for (std::string cell; std::getline(text, cell, '|');) {
        size_t first = cell.find_first_not_of(' '), last = cell.find_last_not_of(' ');
        found.push_back(first == std::string::npos ? "" : cell.substr(first, last - first + 1));
    }
    return found;
}

// The rows of the table under this heading in Docs/options.md.
std::vector<std::vector<std::string>> page_table(const std::string& heading) {
    std::vector<std::vector<std::string>> rows;
    bool inside = false;
    for (const std::string& line :
         read_lines(std::string(MIRD_TEST_SOURCE_DIR) + "/../Docs/options.md")) {
        if (line.rfind("| " + heading + " |", 0) == 0) inside = true;
        else if (line.rfind("|", 0) != 0) inside = false;
        else if (inside && line.rfind("|---", 0) != 0) rows.push_back(cells(line));
    }
    return rows;
}

} // namespace

TEST_F(Options, ThePageOfTheGuideIsTheTable) {
    std::vector<std::vector<std::string>> rows = page_table("Option");
    size_t row = 0;
    for (const Option& option : all_options()) {
        if (option.kind == OptionKind::CONSOLE_ONLY) continue;
        ASSERT_LT(row, rows.size()) << option.name << " is missing";
        bool spin = option.kind == OptionKind::SPIN;
        std::string range = std::to_string(option.min) + " to " + std::to_string(option.max);
        bool own_elo = option.listing == OptionListing::OWN_ELO;
        std::vector<std::string> wanted = {
            "`" + std::string(option.name) + "`", kind_text(option), spin ? range : "",
            own_elo ? "the machine's" : option.default_value, effect_text(option)};
        ASSERT_EQ(rows[row].size(), wanted.size() + 1) << option.name;
        EXPECT_NE(rows[row].back(), "") << option.name << " has no meaning";
        rows[row].pop_back();
        EXPECT_EQ(rows[row], wanted);
        row++;
    }
    EXPECT_EQ(row, rows.size()) << "a row for no option";
}

TEST_F(Options, ThePageNamesWhatTheConsoleKnows) {
    std::vector<std::vector<std::string>> rows = page_table("Name");
    size_t known = 0;
    for (const Option& option : all_options())
        known += option.console_name || option.kind == OptionKind::CONSOLE_ONLY;
    EXPECT_EQ(rows.size(), known);
    for (const std::vector<std::string>& row : rows) {
        ASSERT_EQ(row.size(), 3u);
        const Option* option = find_console_option(row[0].substr(1, row[0].size() - 2).c_str());
        ASSERT_NE(option, nullptr) << row[0];
        bool own = option->kind == OptionKind::CONSOLE_ONLY;
        EXPECT_EQ(row[1], own ? "" : "`" + std::string(option->name) + "`");
        EXPECT_EQ(row[2], option->default_value);
    }
}

TEST_F(Options, WhatOnlyTheConsoleKnowsIsNoOption) {
    for (const char* name : {"NMP_depth", "SEP_depth", "FP_depth", "LMP_depth", "LMR_depth",
                             "ponder", "multipv", "frc"})
        EXPECT_EQ(joined(set(name, "9")), "") << name;
    EXPECT_EQ(active_personality.NMP_depth, 3);
    EXPECT_EQ(find_console_option("Ponder"), nullptr);
    EXPECT_EQ(find_console_option(""), nullptr);
    EXPECT_STREQ(find_console_option("xmultipvx")->name, "MultiPV");
}

TEST_F(Options, DefaultsOfTheTableAreThoseOfTheRecords) {
    active_personality.Contempt = 99;
    active_personality.Hash = 1;
    strcpy(active_personality.NN_File, "other.nn");
    set_relaxed(shell.use_nn, 0);
    set_option_defaults(active_personality);
    EXPECT_EQ(active_personality.Contempt, 0);
    EXPECT_EQ(active_personality.Hash, 64);
    EXPECT_EQ(relaxed(shell.use_nn), 1);
    EXPECT_STREQ(active_personality.NN_File, "embedded");
}
