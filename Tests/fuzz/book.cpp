// Opening books. The first byte chooses the position, the side of the shell, and whether the keys
// of the file count from that position's, so that entries for it are no needle in a haystack.

#include <cstring>
#include <string>

#include "base/state.h"
#include "board/legal.h"
#include "book/book.h"
#include "fuzz/fuzz.h"
#include "support.h"

static constexpr const char* POSITIONS[8] = {
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
    "r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1",
    "r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1",
    "4k3/P6P/8/8/8/8/p6p/4K3 w - - 0 1",
    "rnbqkbnr/ppp1p1pp/8/3pPp2/8/8/PPPP1PPP/RNBQKBNR w KQkq f6 0 3",
    "nqnbrkbr/1ppppp1p/p7/6p1/6P1/P6P/1PPPPP2/NQNBRKBR w HEhe - 1 9",
    "4k3/8/8/8/8/8/8/4R1K1 w - - 0 1",
    "7k/5Q2/6K1/8/8/8/8/8 b - - 0 1",
};

static void check_move(const Position& pos, Move move) {
    if (move != NULL_MOVE && !is_playable(pos, move)) broken("a book's move can be played");
}

// The bytes with the position's key laid over the key of each entry.
static std::string with_key(const uint8_t* bytes, size_t size, uint64_t key) {
    std::string book(reinterpret_cast<const char*>(bytes), size);
    for (size_t at = 0; at + sizeof(BookEntry) <= size; at += sizeof(BookEntry))
        for (size_t i = 0; i < sizeof key; i++)
            book[at + i] = static_cast<char>(book[at + i] ^ static_cast<char>(key >> (56 - 8 * i)));
    return book;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    begin_input();
    if (size == 0) return 0;
    Position& pos = set_up(POSITIONS[data[0] & 7]);
    set_relaxed(shell.uci_mode, data[0] >> 3 & 1);
    active_personality.OwnBook_Variety = static_cast<int16_t>((data[0] >> 4 & 3) * 33);

    std::string book = with_key(data + 1, size - 1, data[0] & 0x40 ? 0 : book_key(pos));
    write_input("book.bin", reinterpret_cast<const uint8_t*>(book.data()), book.size());
    check_move(pos, book_probe(pos, "book.bin"));
    for (size_t at = 0; at + 1 < size; at += 2)
        check_move(pos, unpack_book_move(pos, static_cast<uint16_t>(data[at] << 8 | data[at + 1])));
    return 0;
}
