// Lines of EPD files taken apart.

#include "tools/epd.h"

#include <cstring>
#include <string>

#include <gtest/gtest.h>

namespace {

EpdLine split(const std::string& line) {
    EpdLine epd;
    memset(&epd, 'x', sizeof epd);
    EXPECT_EQ(SplitEpd(line.c_str(), epd), 1);
    return epd;
}

std::string all_operations(const EpdLine& epd) {
    std::string text;
    for (const char* value : {epd.bm, epd.am, epd.ce, epd.sc, epd.gr, epd.id, epd.c0})
        text += std::string(value) + "|";
    return text;
}

const std::string POSITION = "4k3/8/8/8/8/8/8/4K2R w K -";

} // namespace

TEST(SplitEpd, FindsPositionAndOperations) {
    EpdLine epd = split(POSITION + " bm Rh8+; am O-O; ce 120; sc -7; gr 1.0; id \"A.1\"; c0 x;\n");
    EXPECT_EQ(epd.position, POSITION);
    EXPECT_EQ(all_operations(epd), "Rh8+|O-O|120|-7|1.0|\"A.1\"|x|");
}

TEST(SplitEpd, AbsentOperationsAreEmpty) {
    EXPECT_EQ(all_operations(split(POSITION + " bm Rh8;")), "Rh8|||||||");
    EXPECT_EQ(all_operations(split("")), "|||||||");
    EXPECT_EQ(split("").position, std::string());
}

TEST(SplitEpd, MoveCountersArePassedOver) {
    EpdLine epd = split(POSITION + " 12 34 bm Rh8;");
    EXPECT_EQ(epd.position, POSITION);
    EXPECT_EQ(epd.bm, std::string("Rh8"));
}

TEST(SplitEpd, ALineWithFewerThanFourSpacesIsAllPosition) {
    EXPECT_EQ(split("4k3/8/8/8/8/8/8/4K2R w K -\n").position, POSITION);
    EXPECT_EQ(split("8/8/8/8/8/8/8/8 w\r\n").position, std::string("8/8/8/8/8/8/8/8 w"));
}

TEST(SplitEpd, ValuesLoseTheirSpaces) {
    EXPECT_EQ(split(POSITION + " bm Nf3 e4;").bm, std::string("Nf3e4"));
    EXPECT_EQ(split(POSITION + " bm Nf3, e4;").bm, std::string("Nf3,e4"));
    EXPECT_EQ(split(POSITION + " c0 \"f5=10, Be5+=2\";").c0, std::string("\"f5=10,Be5+=2\""));
}

TEST(SplitEpd, UnknownOperationsArePassedOver) {
    EXPECT_EQ(all_operations(split(POSITION + " acd 12; bm Rh8; bmx 3; pv a b c; id \"1\";")),
              "Rh8|||||\"1\"||");
}

TEST(SplitEpd, ADoubleSemicolonEndsTheWork) {
    EXPECT_EQ(split(POSITION + " bm Rh8;; id \"1\";").id, std::string());
    EXPECT_EQ(split(POSITION + " ;bm Rh8;").bm, std::string());
    EXPECT_EQ(split(POSITION + " bm Rh8;   id \"1\";").id, std::string("\"1\""));
}

TEST(SplitEpd, TheLastOperationNeedsNoSemicolon) {
    EXPECT_EQ(split(POSITION + " bm Rh8; id \"1\"\n").id, std::string("\"1\""));
}

TEST(SplitEpd, AnOperationWithoutAValueIsEmpty) {
    EXPECT_EQ(all_operations(split(POSITION + " bm; am ; id \"1\";")), "|||||\"1\"||");
}

TEST(SplitEpd, LongTextsAreCut) {
    EpdLine epd = split(std::string(5000, 'p') + " w - - bm " + std::string(5000, 'q') + ";");
    EXPECT_EQ(strlen(epd.position), EPD_LINE_LENGTH - 1);
    EXPECT_EQ(strlen(epd.bm), EPD_LINE_LENGTH - 1);
}

TEST(EpdLines, CommentsAndShortLinesAreSkipped) {
    FILE* file = tmpfile();
    fputs("# a comment line\n; another comment\n indented line\nshort\n\n12345678\n", file);
    fputs("123456789\nlast line", file);
    rewind(file);
    char line[EPD_LINE_LENGTH];
    ASSERT_TRUE(read_epd_line(file, line));
    EXPECT_EQ(line, std::string("123456789\n")) << "the newline counts";
    ASSERT_FALSE(read_epd_line(file, line)) << "nine characters without a newline";
    fclose(file);
}

TEST(EpdLines, ALongLineComesInPieces) {
    FILE* file = tmpfile();
    fputs((std::string(700, 'a') + "\n").c_str(), file);
    rewind(file);
    char line[EPD_LINE_LENGTH];
    ASSERT_TRUE(read_epd_line(file, line));
    EXPECT_EQ(strlen(line), 510u);
    ASSERT_TRUE(read_epd_line(file, line));
    EXPECT_EQ(strlen(line), 191u);
    ASSERT_FALSE(read_epd_line(file, line));
    fclose(file);
}
