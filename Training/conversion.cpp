#include "Training/conversion.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Training/ply_data.h"
#include "Training/ply_filter.h"
#include "Training/random_start.h"
#include "base/text.h"
#include "board/castling.h"
#include "board/make.h"
#include "board/movetext.h"
#include "board/see.h"
#include "search/thread.h"
#include "tools/epd.h"
#include "tools/pgn.h"

static_assert(UNTOLD_PLY == PLY_MIN_PLY, "the first ply that training uses");

namespace {

// What a text says beside its position.
struct Facts {
    Move move;  // NULL_MOVE: not known
    int score;  // for the side to move
    int result; // RESULT_... for the side to move, or NO_RESULT_KNOWN
    int ply;
};

// The fields of a FEN text.
struct FenFields {
    std::string placement, side, castling, ep;
    std::vector<std::string> counters;
};

} // namespace

static int turned_result(int result) {
    return result == NO_RESULT_KNOWN ? result : RESULT_WON - result;
}

static int white_result(const PlyRecord& record) {
    const int result = record_result(record);
    return record_side(record) == WHITE ? result : turned_result(result);
}

bool continues_game(const PlyRecord& record, const PlyRecord& before) {
    return record_ply(record) > record_ply(before) && white_result(record) == white_result(before);
}

static std::string trimmed(const std::string& text) {
    constexpr char BLANKS[] = " \t\r\n";
    const size_t first = text.find_first_not_of(BLANKS);
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

static std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    size_t begin = 0;
    for (size_t end = 0; end != std::string::npos; begin = end + 1) {
        end = text.find(separator, begin);
        parts.push_back(trimmed(text.substr(begin, end - begin)));
    }
    return parts;
}

// Reads all of a text as a whole number with or without a sign; what is too large for an int
// becomes the largest. Returns false if it is none.
static bool read_whole_number(int& number, const std::string& text) {
    const char* digits = text.c_str() + (text[0] == '+' || text[0] == '-');
    if (!isdigit(static_cast<unsigned char>(*digits))) return false;
    char* end = nullptr;
    errno = 0;
    const long value = strtol(text.c_str(), &end, 10);
    if (*end) return false;
    constexpr long MOST = 1000000000;
    number = static_cast<int>(std::clamp(value, -MOST, MOST));
    return true;
}

static bool is_chess960(const Position& pos) {
    for (int right = 0; right < CASTLING_RIGHTS; right++) {
        if (!has_right(pos, right)) continue;
        const int king = pos.king_square[side_of_right(right)], rook = pos.castle_rook[right];
        const int corner = wing_of_right(right) == KING_SIDE ? H1 : A1;
        if (file_of(king) != file_of(E1) || file_of(rook) != file_of(corner)) return true;
    }
    return false;
}

// Grants the rights of the letters K, Q, k and q that set_position has dropped because two rooks
// stand on the wing: to the outermost one, as records mean it.
static void grant_outer_rights(Position& pos, const std::string& castling) {
    bool granted = false;
    for (int right = 0; right < CASTLING_RIGHTS; right++) {
        const int side = side_of_right(right), king = pos.king_square[side];
        if (has_right(pos, right) || castling.find("KQkq"[right]) == std::string::npos) continue;
        const Bitboard rooks = rooks_on_wing(pos, right);
        if (!rooks || rank_of(king) != rank_of(rank_flip[side])) continue;
        const bool king_side = wing_of_right(right) == KING_SIDE;
        grant_castling(pos, right, king_side ? bit_scan_reverse(rooks) : bit_scan_forward(rooks));
        granted = true;
    }
    if (granted) compute_keys(pos);
}

// Tells whether a pawn has just skipped the en passant square.
static bool ep_square_makes_sense(const Position& pos) {
    if (pos.ep_square == NO_SQUARE) return true;
    const int rank = pos.side == WHITE ? 5 : 2, behind = pos.side == WHITE ? -8 : 8;
    return rank_of(pos.ep_square) == rank && pos.board[pos.ep_square] == 0
        && pos.board[pos.ep_square + behind] == piece_code(pos.side ^ 1, PAWN);
}

// Sets up the position of four fields. Returns null, or what is wrong with it. set_position takes
// anything; that nothing was dropped shows when the placement is written again.
static const char* set_up_fields(Position& pos, const FenFields& fields) {
    if (fields.side != "w" && fields.side != "b") return "the side to move is none";
    const std::string fen =
        fields.placement + " " + fields.side + " " + fields.castling + " " + fields.ep;
    set_position(pos, fen.c_str());
    char written[FEN_LENGTH];
    write_fen(pos, written, 0);
    const size_t length = fields.placement.size();
    if (strncmp(written, fields.placement.c_str(), length) != 0 || written[length] != ' ')
        return "the placement is none";
    if (const char* reason = unsearchable_reason(pos)) return reason;
    grant_outer_rights(pos, fields.castling);
    if (!ep_square_makes_sense(pos)) return "no pawn has skipped the en passant square";
    return nullptr;
}

static const char* read_fen(FenFields& fields, const std::string& text) {
    std::vector<std::string> words = split(text, ' ');
    words.erase(std::remove(words.begin(), words.end(), ""), words.end());
    if (words.size() < 4) return "the position has less than four fields";
    fields = {words[0], words[1], words[2], words[3], {words.begin() + 4, words.end()}};
    return nullptr;
}

// Tells whether a capture wins material by static exchange, or a pawn can promote.
static bool is_tactical(const Position& pos, const std::vector<Move>& moves) {
    return std::any_of(moves.begin(), moves.end(), [&pos](Move move) {
        PlyRecord packed;
        pack_ply(packed, pos, move, 0, 0);
        if (!(packed.place & RECORD_TACTICAL)) return false;
        const int from = move_from(move), to = move_to(move);
        const bool promotes =
            type_of(pos.board[from]) == PAWN && (rank_of(to) == 0 || rank_of(to) == 7);
        return promotes || see(pos, pos.side, from, to) > 0;
    });
}

// Makes the record of the position that was set up. Returns null, or what is wrong with it.
static const char* pack_facts(PlyRecord& record, const Position& pos, const Facts& facts,
                              const ConversionSettings& settings) {
    const std::vector<Move> moves = all_legal_moves(pos);
    if (moves.empty()) return "there is no legal move";
    if (!castles_with_outer_rooks(pos)) return "a right to castle with an inner rook";
    PlyRecord packed;
    const int score = std::clamp(facts.score, -MATE_VALUE, MATE_VALUE);
    pack_ply(packed, pos, facts.move, score, std::max(facts.ply, settings.least_ply));
    if (!is_sound(packed)) return "more than 16 pawns, or one on an outer rank";
    packed.state |= static_cast<uint8_t>(facts.result << RECORD_RESULT_SHIFT);
    if (is_chess960(pos)) packed.state |= RECORD_CHESS960;
    if (facts.move == NULL_MOVE && is_tactical(pos, moves)) packed.place |= RECORD_TACTICAL;
    record = packed;
    return nullptr;
}

std::string text_of_record(const PlyRecord& record) {
    Position& pos = main_thread->position;
    if (!unpack_ply(pos, record)) return "";
    char fen[FEN_LENGTH];
    write_fen(pos, fen, 0);
    constexpr const char* RESULTS[] = {"0.0", "0.5", "1.0", "-"};
    const int number = (record_ply(record) - record_side(record) + 1) / 2 + 1;
    const int score = record_side(record) == WHITE ? record.score : -record.score;
    return std::string(fen) + " " + std::to_string(record.halfmoves) + " " + std::to_string(number)
         + " | " + std::to_string(score) + " | " + RESULTS[white_result(record)];
}

// White's result of its text. Returns false if it is none.
static bool read_result(int& result, const std::string& text) {
    struct {
        const char* text;
        int result;
    } const results[] = {{"1.0", RESULT_WON},       {"0.5", RESULT_DRAWN}, {"0.0", RESULT_LOST},
                         {"1", RESULT_WON},         {"0", RESULT_LOST},    {"1-0", RESULT_WON},
                         {"1/2-1/2", RESULT_DRAWN}, {"0-1", RESULT_LOST},  {"-", NO_RESULT_KNOWN}};
    for (const auto& known : results) {
        if (text != known.text) continue;
        result = known.result;
        return true;
    }
    return false;
}

// Takes halfmoves and the number of plies or, from 1 on, of moves. Returns false if one is no
// number.
static bool read_counters(Position& pos, int& ply, const FenFields& fields, bool counts_plies) {
    int numbers[2] = {0, 0};
    ply = UNTOLD_PLY;
    for (size_t i = 0; i < fields.counters.size(); i++)
        if (i > 1 || !read_whole_number(numbers[i], fields.counters[i]) || numbers[i] < 0)
            return false;
    pos.halfmoves = static_cast<uint8_t>(std::min(numbers[0], MAX_HALFMOVES));
    if (fields.counters.size() < 2) return true;
    const int number = std::min(numbers[1], RECORD_PLY);
    ply = counts_plies ? number : (std::max(number, 1) - 1) * 2 + pos.side;
    return true;
}

const char* record_of_text(PlyRecord& record, const char* line,
                           const ConversionSettings& settings) {
    const std::vector<std::string> parts = split(line, '|');
    if (parts.size() != 3) return "it is no FEN | score | result";
    Position& pos = main_thread->position;
    Facts facts = {};
    FenFields fields;
    if (const char* wrong = read_fen(fields, parts[0])) return wrong;
    if (parts[1].empty() && !settings.keep_unscored) return "there is no score";
    if (!parts[1].empty() && !read_whole_number(facts.score, parts[1]))
        return "the score is no whole number";
    if (!read_result(facts.result, parts[2])) return "the result is none";
    if (const char* wrong = set_up_fields(pos, fields)) return wrong;
    if (!read_counters(pos, facts.ply, fields, false)) return "a move counter is none";
    if (pos.side == BLACK) {
        facts.score = -facts.score;
        facts.result = turned_result(facts.result);
    }
    return pack_facts(record, pos, facts, settings);
}

// The score of an EPD line. Returns null, or what is wrong with it.
static const char* read_epd_score(int& score, const EpdLine& epd,
                                  const ConversionSettings& settings) {
    constexpr int NO_VALUE_UP_TO = -9999; // written by the tools where they know none
    const char* text = epd.sc[0] ? epd.sc : epd.ce;
    if (*text && !read_whole_number(score, text)) return "the score is no whole number";
    if (*text && score > NO_VALUE_UP_TO) return nullptr;
    score = 0;
    return settings.keep_unscored ? nullptr : "there is no score";
}

// The move if it is legal by the rules, else NULL_MOVE.
static Move legal_or_none(const Position& pos, Move move) {
    const std::vector<Move> moves = all_legal_moves(pos);
    return std::find(moves.begin(), moves.end(), move) != moves.end() ? move : NULL_MOVE;
}

// The best move of an EPD line; NULL_MOVE for none, several or one that can't be played.
static Move read_epd_move(const Position& pos, const EpdLine& epd) {
    char text[MOVE_TEXT_LENGTH];
    Move move = NULL_MOVE;
    if (!epd.bm[0] || strlen(epd.bm) >= sizeof text - 1) return NULL_MOVE;
    copy_text(text, epd.bm, sizeof text);
    return parse_move(pos, text, &move) ? legal_or_none(pos, move) : NULL_MOVE;
}

const char* record_of_epd(PlyRecord& record, const char* line, const ConversionSettings& settings) {
    EpdLine epd;
    SplitEpd(line, epd);
    Position& pos = main_thread->position;
    Facts facts = {};
    FenFields fields;
    if (const char* wrong = read_fen(fields, epd.position)) return wrong;
    int halfmoves = 0, plies = 0;
    if (sscanf(line + strlen(epd.position), " %9d %9d ", &halfmoves, &plies) == 2)
        fields.counters = {std::to_string(halfmoves), std::to_string(plies)};
    if (const char* wrong = read_epd_score(facts.score, epd, settings)) return wrong;
    facts.result = NO_RESULT_KNOWN;
    if (epd.gr[0] && !read_result(facts.result, epd.gr)) return "the result is none";
    if (const char* wrong = set_up_fields(pos, fields)) return wrong;
    if (!read_counters(pos, facts.ply, fields, true)) return "a move counter is none";
    facts.move = read_epd_move(pos, epd);
    return pack_facts(record, pos, facts, settings);
}

static const char* set_up_start(Position& pos, const ScannedGame& game) {
    FenFields fields;
    if (const char* wrong = read_fen(fields, game.fen[0] ? game.fen : START_FEN)) return wrong;
    return set_up_fields(pos, fields);
}

// White's result of a game, by its tag.
static int game_result(const ScannedGame& game) {
    int result = NO_RESULT_KNOWN;
    const std::string text = game.result_text;
    if (text == "1-0" || text == "0-1" || text == "1/2-1/2") read_result(result, text);
    return result;
}

// Reads a move of a game, with or without signs of mate and praise. Returns NULL_MOVE if it is none
// that is legal here.
static Move read_game_move(const Position& pos, const ScannedMove& scanned) {
    char text[SCAN_MOVE_LENGTH + 1]; // parse_move may add a character
    Move move = NULL_MOVE;
    copy_text(text, scanned.text, SCAN_MOVE_LENGTH);
    text[strcspn(text, "#!?")] = 0;
    return parse_move(pos, text, &move) ? legal_or_none(pos, move) : NULL_MOVE;
}

std::string records_of_game(std::vector<PlyRecord>& records, const PgnReader& reader,
                            const ConversionSettings& settings) {
    constexpr int NO_SCORE_BELOW = -9999;
    const ScannedGame& game = reader.game;
    const size_t before = records.size();
    const int white = game_result(game);
    Position& pos = main_thread->position;
    if (const char* wrong = set_up_start(pos, game)) return wrong;
    const bool chess960 = is_chess960(pos);
    for (int i = 0; i < game.count; i++) {
        const Move move = read_game_move(pos, game.moves[i]);
        if (move == NULL_MOVE)
            return "ply " + std::to_string(i + 1) + " is no move: " + game.moves[i].text;
        const bool scored = game.moves[i].score >= NO_SCORE_BELOW;
        const Facts facts = {move, scored ? game.moves[i].score : 0,
                             pos.side == WHITE ? white : turned_result(white), i};
        PlyRecord record;
        if ((scored || settings.keep_unscored) && !pack_facts(record, pos, facts, settings)) {
            if (chess960) record.state |= RECORD_CHESS960;
            if (records.size() == before) record.place |= RECORD_FIRST;
            records.push_back(record);
        }
        make_game_move(pos, move);
    }
    return "";
}
