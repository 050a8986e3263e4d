#include "syzygy/tbcore.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "base/print.h"
#include "board/bitboard.h"

int tb_largest;

static TBEntry piece_entries[TBMAX_PIECE];
static TBEntry pawn_entries[TBMAX_PAWN];
static int piece_entry_count, pawn_entry_count;

namespace {

struct Slot {
    uint64_t key;
    TBEntry* entry; // null in an empty slot
};

} // namespace

static Slot buckets[TB_BUCKETS][HSHMAX];

static DtzCacheEntry dtz_cache[DTZ_ENTRIES]; // the table used last stands first
static int dtz_count;

// Around the opening of tables. Those who wait sleep: it takes milliseconds, and more from a disk.
static std::mutex first_use;

static char* path_text;    // the directories, each ended by 0
static char** directories; // places in path_text
static int directory_count;

// --- Material ---------------------------------------------------------------------------------

// What one piece adds to a key. Kings add nothing, so that bare kings have key 0. The numbers were
// drawn at random until no bucket was asked for more than HSHMAX of all tables; a test repeats
// the count, and that no two materials have one key.
// clang-format off
static constexpr uint64_t KEY_STEP[2][8] = {
    {0, 0x8EAFF63463A306F7, 0x8A77174A7819FD81, 0xC49CF0D9FC555A87,
        0xF9AF7B6CDEF5F08B, 0xBBC6D9B15A1881D9, 0, 0},
    {0, 0xC8E0062E1D0AC2DF, 0xB089077A7DFECFA5, 0x6B627B6E224EBBFB,
        0xBCCBED3F11425D5F, 0x8F4F238433555F53, 0, 0},
};
// clang-format on

uint64_t tb_key_of_counts(const uint8_t* counts, bool mirror) {
    uint64_t key = 0;
    for (int side : {WHITE, BLACK})
        for (int type = PAWN; type <= QUEEN; type++)
            key += KEY_STEP[side ^ mirror][type] * counts[piece_code(side, type)];
    return key;
}

uint64_t tb_material_key(const TBPosition& pos) {
    auto part = [&](Bitboard set, int type) {
        if (!set) return uint64_t{0};
        return KEY_STEP[WHITE][type] * static_cast<uint64_t>(pop_count(set & pos.white))
             + KEY_STEP[BLACK][type] * static_cast<uint64_t>(pop_count(set & pos.black));
    };
    return part(pos.pawns, PAWN) + part(pos.knights, KNIGHT) + part(pos.bishops, BISHOP)
         + part(pos.rooks, ROOK) + part(pos.queens, QUEEN);
}

static constexpr char LETTERS[] = " PNBRQK"; // by piece type

static char* write_side(const TBPosition& pos, int side, char* out) {
    *out++ = 'K';
    for (int type = QUEEN; type >= PAWN; type--)
        for (int i = pop_count(tb_pieces(pos, piece_code(side, type))); i > 0; i--)
            *out++ = LETTERS[type];
    return out;
}

// Tells whether a side's pieces come first in a name; White's do if both sides have the same.
static bool named_first(const TBPosition& pos, int side) {
    Bitboard own = side == WHITE ? pos.white : pos.black;
    Bitboard other = side == WHITE ? pos.black : pos.white;
    if (pop_count(own) != pop_count(other)) return pop_count(own) > pop_count(other);
    for (int type = QUEEN; type >= PAWN; type--) {
        int difference = pop_count(tb_pieces(pos, piece_code(side, type)))
                       - pop_count(tb_pieces(pos, piece_code(side ^ 1, type)));
        if (difference) return difference > 0;
    }
    return side == WHITE;
}

void tb_name(const TBPosition& pos, char* out, int mirror) {
    int first = named_first(pos, WHITE) ? WHITE : BLACK;
    if (mirror) first ^= 1;
    out = write_side(pos, first, out);
    *out++ = 'v';
    out = write_side(pos, first ^ 1, out);
    *out = 0;
}

// --- Names and entries ------------------------------------------------------------------------

void tb_describe(TBEntry& entry, const char* name) {
    memset(entry.counts, 0, sizeof entry.counts);
    entry.num = 0;
    int side = WHITE;
    for (const char* c = name; *c; c++) {
        if (*c == 'v') side = BLACK;
        const char* letter = *c == ' ' ? nullptr : strchr(LETTERS, *c);
        if (!letter) continue;
        entry.counts[piece_code(side, static_cast<int>(letter - LETTERS))]++;
        entry.num++;
    }
    snprintf(entry.name, sizeof entry.name, "%s", name);
    entry.key = tb_key_of_counts(entry.counts, false);
    entry.mirrored_key = tb_key_of_counts(entry.counts, true);
    entry.symmetric = entry.key == entry.mirrored_key;

    uint8_t white = entry.counts[piece_code(WHITE, PAWN)];
    uint8_t black = entry.counts[piece_code(BLACK, PAWN)];
    entry.has_pawns = white || black;
    // The side with fewer pawns leads, but it must have one.
    const bool black_leads = white == 0 || (black != 0 && black < white);
    entry.pawns[0] = black_leads ? black : white;
    entry.pawns[1] = black_leads ? white : black;
    int unique = 0;
    for (uint8_t count : entry.counts) unique += count == 1;
    entry.leaders = unique >= 3 ? 3 : 2;

    entry.data = nullptr;
    entry.mapping = {};
    entry.decoders = nullptr;
    entry.dtz_told = false;
    entry.ready.store(TB_UNTRIED, std::memory_order_relaxed);
}

static TBEntry* free_entry(bool has_pawns) {
    if (has_pawns) {
        if (pawn_entry_count < TBMAX_PAWN) return &pawn_entries[pawn_entry_count++];
        fputs("TBMAX_PAWN limit too low!\n", stderr);
    } else {
        if (piece_entry_count < TBMAX_PIECE) return &piece_entries[piece_entry_count++];
        fputs("TBMAX_PIECE limit too low!\n", stderr);
    }
    exit(1);
}

static void add_to_bucket(uint64_t key, TBEntry* entry) {
    for (Slot& slot : buckets[key >> (64 - TBHASHBITS)]) {
        if (slot.entry) continue;
        slot = {key, entry};
        return;
    }
    fputs("HSHMAX too low!\n", stderr);
    exit(1);
}

void tb_register(const char* name) {
    TBEntry* entry = free_entry(strchr(name, 'P') != nullptr);
    tb_describe(*entry, name);
    if (entry->num > tb_largest) tb_largest = entry->num;
    add_to_bucket(entry->key, entry);
    if (!entry->symmetric) add_to_bucket(entry->mirrored_key, entry);
}

int tb_count() { return piece_entry_count + pawn_entry_count; }

TBEntry* tb_find(uint64_t key) {
    for (const Slot& slot : buckets[key >> (64 - TBHASHBITS)])
        if (slot.entry && slot.key == key) return slot.entry;
    return nullptr;
}

namespace {

constexpr int MAX_MARKS = 4; // six men with both kings

// A form of names: the marks "1" to "4" stand for pieces. Each mark has the piece of another one
// that it may not come before, since like pieces have no order.
struct NameForm {
    const char* text;
    int marks;                 // 1 to MAX_MARKS
    int not_before[MAX_MARKS]; // number of the other mark, or ANY
    bool pairs; // two against two: equal first pieces leave the second ones to decide
};
constexpr int ANY = -1;
constexpr NameForm NAME_FORMS[] = {
    // clang-format off
    {"K1vK",    1, {ANY}, false},
    {"K1vK2",   2, {ANY, 0}, false},
    {"K12vK",   2, {ANY, 0}, false},
    {"K12vK3",  3, {ANY, 0, ANY}, false},
    {"K123vK",  3, {ANY, 0, 1}, false},
    {"K12vK34", 4, {ANY, 0, 0, 2}, true},
    {"K123vK4", 4, {ANY, 0, 1, ANY}, false},
    {"K1234vK", 4, {ANY, 0, 1, 2}, false},
    // clang-format on
};

} // namespace

// Puts piece letters for the marks of a form and passes the name on.
static void use_name(void (*use)(const char* name), const char* form, const char* pieces) {
    char name[TB_NAME_LENGTH];
    char* out = name;
    for (; *form; form++) *out++ = *form >= '1' && *form <= '4' ? pieces[*form - '1'] : *form;
    *out = 0;
    use(name);
}

// Fills the marks of a form from `mark` on with all pieces that they may have, the last one
// changing fastest, and passes each name on.
static void use_form(void (*use)(const char* name), const NameForm& form, int mark, char* pieces) {
    static constexpr char ORDER[] = "QRBNP";
    if (mark == form.marks || mark == MAX_MARKS) {
        use_name(use, form.text, pieces);
        return;
    }
    int other = form.not_before[mark];
    if (form.pairs && mark == 3 && pieces[2] == pieces[0]) other = 1;
    for (const char* piece = other == ANY ? ORDER : strchr(ORDER, pieces[other]); *piece; piece++) {
        pieces[mark] = *piece;
        use_form(use, form, mark + 1, pieces);
    }
}

void tb_each_name(void (*use)(const char* name)) {
    char pieces[MAX_MARKS];
    for (const NameForm& form : NAME_FORMS) use_form(use, form, 0, pieces);
}

// --- Directories and files --------------------------------------------------------------------

static void free_directories() {
    free(path_text);
    free(directories);
    path_text = nullptr;
    directories = nullptr;
    directory_count = 0;
}

static void split_directories(const char* paths) {
    int count = 1;
    for (const char* c = paths; *c; c++) count += *c == ';';
    path_text = strdup(paths);
    directories = static_cast<char**>(calloc(static_cast<size_t>(count), sizeof *directories));
    if (!path_text || !directories) {
        free_directories();
        return;
    }
    for (char* start = path_text; start;) {
        char* end = strchr(start, ';');
        if (end) *end++ = 0;
        directories[directory_count++] = start;
        start = end;
    }
}

int tb_find_file(const char* name, const char* suffix) {
    for (int i = 0; i < directory_count; i++) {
        char path[TB_PATH_LENGTH];
        if (!directories[i][0]) continue; // would be the root directory
        int length = snprintf(path, sizeof path, "%s/%s%s", directories[i], name, suffix);
        if (length < 0 || length >= TB_PATH_LENGTH) continue;
        int file = open_file(path);
        if (file != NO_FILE) return file;
    }
    return NO_FILE;
}

const uint8_t* tb_map_file(const char* name, const char* suffix, FileMapping* mapping) {
    *mapping = {};
    int file = tb_find_file(name, suffix);
    if (file == NO_FILE) return nullptr;
    int error = map_file(*mapping, file);
    close_file(file);
    if (error != 0) {
        if (error == NO_SECTION) fputs("CreateFileMapping() failed.\n", stderr);
        else
            fprintf(stderr, "MapViewOfFile() failed, name = %s%s, error = %lu.\n", name, suffix,
                    static_cast<unsigned long>(error));
        end_process(1); // a search may ask for the table
    }
    return mapping->data;
}

// Reports a failed release and goes on: nothing depends on it.
static void release(FileMapping& mapping) {
    if (int error = unmap_file(mapping)) fprintf(stderr, "unmap failed, error code %d\n", error);
}

// --- First use --------------------------------------------------------------------------------

static void tell_corrupted(const TBEntry& entry, const char* suffix) {
    fprintf(stderr, "Corrupted table.\n%s%s can't be used\n", entry.name, suffix);
}

static void release_entry(TBEntry& entry) {
    if (entry.decoders) {
        tb_free_decoders(entry.decoders, tb_sides(entry, true) * tb_file_groups(entry));
        free(entry.decoders);
        entry.decoders = nullptr;
    }
    release(entry.mapping);
    entry.data = nullptr;
}

static bool open_entry(TBEntry& entry) {
    entry.data = tb_map_file(entry.name, ".rtbw", &entry.mapping);
    if (!entry.data) {
        fprintf(stderr, "Could not find %s.rtbw\n", entry.name);
        return false;
    }
    const int count = tb_sides(entry, true) * tb_file_groups(entry);
    entry.decoders = static_cast<TBDecoder*>(calloc(static_cast<size_t>(count), sizeof(TBDecoder)));
    uint8_t flags[TB_FILE_GROUPS];
    if (entry.decoders
        && tb_build_decoders(entry.decoders, flags, nullptr, entry, entry.data, entry.mapping.size,
                             true))
        return true;
    tell_corrupted(entry, ".rtbw");
    release_entry(entry);
    return false;
}

bool tb_use(TBEntry& entry) {
    // Acquire pairs with the release below: who sees TB_READY sees the decoders.
    uint8_t ready = entry.ready.load(std::memory_order_acquire);
    if (ready == TB_UNTRIED) {
        std::lock_guard<std::mutex> guard(first_use);
        ready = entry.ready.load(std::memory_order_relaxed);
        if (ready == TB_UNTRIED) {
            ready = open_entry(entry) ? TB_READY : TB_UNUSABLE;
            entry.ready.store(ready, std::memory_order_release);
        }
    }
    return ready == TB_READY;
}

static void release_dtz(DtzCacheEntry& cached) {
    if (DtzTable* table = cached.table) {
        tb_free_decoders(table->decoders, TB_FILE_GROUPS);
        release(table->mapping);
        free(table);
    }
    cached = {};
}

// Opens a distance table. Returns null if it can't be used, and says why the first time.
static DtzTable* open_dtz(TBEntry& entry) {
    auto* table = static_cast<DtzTable*>(calloc(1, sizeof(DtzTable)));
    if (!table) return nullptr;
    table->entry = &entry;
    const uint8_t* data = tb_map_file(entry.name, ".rtbz", &table->mapping);
    if (data
        && tb_build_decoders(table->decoders, table->flags, &table->maps, entry, data,
                             table->mapping.size, false))
        return table;
    if (!entry.dtz_told) {
        if (data) tell_corrupted(entry, ".rtbz");
        else fprintf(stderr, "Could not find %s.rtbz\n", entry.name);
    }
    entry.dtz_told = true;
    DtzCacheEntry failed = {0, 0, table};
    release_dtz(failed);
    return nullptr;
}

// Brings a place of the list to its front.
static void move_to_front(int place) {
    DtzCacheEntry found = dtz_cache[place];
    memmove(dtz_cache + 1, dtz_cache, static_cast<size_t>(place) * sizeof *dtz_cache);
    dtz_cache[0] = found;
}

const DtzTable* tb_use_dtz(uint64_t key) {
    for (int i = 0; i < dtz_count; i++) {
        if (dtz_cache[i].key != key && dtz_cache[i].mirrored_key != key) continue;
        move_to_front(i);
        return dtz_cache[0].table;
    }
    TBEntry* entry = tb_find(key);
    if (!entry) return nullptr;

    // The files of both kinds share the handles of the platform.
    std::lock_guard<std::mutex> guard(first_use);
    if (dtz_count == DTZ_ENTRIES) release_dtz(dtz_cache[--dtz_count]);
    dtz_cache[dtz_count] = {entry->key, entry->mirrored_key, open_dtz(*entry)};
    move_to_front(dtz_count++);
    return dtz_cache[0].table;
}

// --- Set-up -----------------------------------------------------------------------------------

static void release_all() {
    for (int i = 0; i < piece_entry_count; i++) release_entry(piece_entries[i]);
    for (int i = 0; i < pawn_entry_count; i++) release_entry(pawn_entries[i]);
    for (int i = 0; i < dtz_count; i++) release_dtz(dtz_cache[i]);
    free_directories();
    piece_entry_count = pawn_entry_count = dtz_count = tb_largest = 0;
    memset(buckets, 0, sizeof buckets);
}

static void register_if_there(const char* name) {
    int file = tb_find_file(name, ".rtbw");
    if (file == NO_FILE) return;
    close_file(file);
    tb_register(name);
}

void tb_init(const char* paths) {
    release_all();
    if (!paths[0] || strcmp(paths, "<empty>") == 0) return;
    split_directories(paths);
    tb_each_name(register_if_there);
    PrintFormat("info string found %d tablebases", tb_count());
}
