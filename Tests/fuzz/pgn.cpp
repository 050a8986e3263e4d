// Files of games: the scan in its four modes, the book builder, the console's load and save. The
// first character says which.

#include <cstdio>

#include "base/state.h"
#include "base/text.h"
#include "board/line.h"
#include "book/build.h"
#include "fuzz/fuzz.h"
#include "shell/game_file.h"
#include "shell/game_record.h"
#include "support.h"
#include "tools/scan_pgn.h"

static constexpr char GAMES[] = "games.pgn";

static void build() {
    copy_text(shell.games_in_name, GAMES, sizeof shell.games_in_name);
    build_book();
}

// Loads a game, writes it, and plays it again from its record.
static void load_and_save(const char* tag) {
    Position& pos = game();
    load_game(pos, GAMES, tag);
    const int length = pos.owner->undo_index;
    save_game(pos);
    if (pos.owner->undo_index != length) broken("saving leaves the game as it is");
    rewind_game(pos);
    while (next_in_record(pos) != NULL_MOVE) replay_move(pos);
    remove("tmp.pgn");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    begin_input();
    if (size == 0) return 0;
    write_input(GAMES, data + 1, size - 1);
    switch (data[0] & 7) {
    case 0: build(); break;
    case 5: load_and_save(""); break;
    case 6: load_and_save("Tag"); break;
    case 7: load_and_save("[FEN"); break;
    default: scan_pgn(GAMES, "", data[0] & 7);
    }
    return 0;
}
