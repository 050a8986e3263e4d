// Loading, creating and writing the network.

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "base/checksum.h"
#include "base/files.h"
#include "base/platform.h"
#include "base/platform_files.h"
#include "base/print.h"
#include "base/state.h"
#include "base/text.h"
#include "eval/evaluate.h"
#include "eval/nn.h"
#include "eval/nn_inputs.h"
#include "eval/nn_kernels.h"

// The embedded network, as bytes of a network file.
extern "C" const unsigned char nn_embedded[];
extern "C" const unsigned char nn_embedded_end[];

NnHeader nn_header;

constexpr size_t HEADER_BYTES = 18;
constexpr size_t WEIGHT_BYTES = 2; // in a file
constexpr int64_t EXTRAS = 8;
constexpr double WEIGHT_STEP = 0.0002;     // value of a stored 1
constexpr double STEPS_OF_ONE = 5000.0;    // the same, for writing
constexpr uint16_t FIVE_KINDS_INPUTS = 31; // the last kind ends at input 28 + 2

static unsigned read_u16(const unsigned char* bytes) { return bytes[0] | bytes[1] << 8; }

static float weight_at(const unsigned char* bytes) {
    auto stored = static_cast<int16_t>(read_u16(bytes));
    return static_cast<float>(stored * WEIGHT_STEP);
}

static void write_u16(unsigned char* bytes, unsigned value) {
    bytes[0] = static_cast<unsigned char>(value);
    bytes[1] = static_cast<unsigned char>(value >> 8);
}

static void compute_sizes(NnHeader& net) {
    net.inputs = net.board_inputs + net.material_inputs;
    net.w1_count = int64_t{net.inputs} * net.hidden1;
    net.w2_count = int64_t{net.hidden1} * (net.hidden2 ? net.hidden2 : net.outputs);
    net.w3_count = int64_t{net.hidden2} * net.outputs;
    net.bias_count = net.outputs;
    net.total = net.w1_count + net.w2_count + net.w3_count + net.bias_count + EXTRAS;
}

// The stored count of weights is not looked at: the sizes decide.
static void parse_header(NnHeader& net, const unsigned char* bytes) {
    uint16_t* fields[] = {&net.version, &net.format,  &net.board_inputs, &net.material_inputs,
                          &net.hidden1, &net.hidden2, &net.outputs};
    for (uint16_t* field : fields) {
        *field = static_cast<uint16_t>(read_u16(bytes));
        bytes += 2;
    }
    compute_sizes(net);
}

// Tells whether inference stays inside the arrays of a network with these sizes.
static bool sizes_make_sense(const NnHeader& net) {
    if (net.hidden1 == 0 || net.outputs < NN_ROWS) return false;
    if (net.hidden2 != 0 && net.hidden2 < NN_ROWS) return false;
    if (net.board_inputs < NN_SET_INPUTS || net.inputs > NN_MAX_INPUTS) return false;
    return net.version < NN_FIVE_KINDS_VERSION || net.material_inputs >= FIVE_KINDS_INPUTS;
}

// Bytes of the weight array. Rounded up to whole huge pages, so that all of it can be on such.
static size_t array_bytes(const NnHeader& net) {
    constexpr size_t HUGE_PAGE = 2 << 20;
    size_t bytes = static_cast<size_t>(net.total) * sizeof(float);
    return bytes < HUGE_PAGE ? bytes : (bytes + HUGE_PAGE - 1) / HUGE_PAGE * HUGE_PAGE;
}

static void allocate_weights(NnHeader& net) {
    net.weights = static_cast<float*>(allocate_pages(array_bytes(net), true));
    if (!net.weights) {
        Print("allocating memory for net failed!");
        exit(1);
    }
    net.w1 = net.weights;
    net.w2 = net.w1 + net.w1_count;
    net.w3 = net.w2 + net.w2_count;
    net.biases = net.w3 + net.w3_count;
    net.extras = net.biases + net.bias_count;
}

static size_t embedded_size() { return static_cast<size_t>(nn_embedded_end - nn_embedded); }

NnFileBytes NnEmbeddedFile() {
    return {embedded_size(), add_checksum(EMPTY_CHECKSUM, nn_embedded, embedded_size())};
}

static bool load_embedded(NnHeader& net) {
    const size_t size = embedded_size();
    if (size < HEADER_BYTES) return false;
    parse_header(net, nn_embedded);
    auto stored = static_cast<int64_t>((size - HEADER_BYTES) / WEIGHT_BYTES);
    if (!sizes_make_sense(net) || stored < net.total) return false;
    allocate_weights(net);
    for (int64_t i = 0; i < net.total; i++)
        net.weights[i] = weight_at(nn_embedded + HEADER_BYTES + static_cast<size_t>(i) * 2);
    return true;
}

// The length of a file in bytes; its place goes back to the start. -1 if it can't be told.
static off_t file_length(FILE* file) {
    if (fseeko(file, 0, SEEK_END) != 0) return -1;
    off_t length = ftello(file);
    rewind(file);
    return length;
}

static bool read_weights(NnHeader& net, FILE* file) {
    constexpr int64_t CHUNK = 4096; // weights
    unsigned char bytes[CHUNK * WEIGHT_BYTES];
    for (int64_t done = 0; done < net.total;) {
        int64_t count = net.total - done < CHUNK ? net.total - done : CHUNK;
        if (fread(bytes, WEIGHT_BYTES, static_cast<size_t>(count), file)
            != static_cast<size_t>(count))
            return false;
        for (int64_t i = 0; i < count; i++) net.weights[done + i] = weight_at(bytes + 2 * i);
        done += count;
    }
    return true;
}

// Reads an open file. Returns false, with nothing left allocated, if it is no whole network. The
// sizes are held against the file's length first, so that a damaged header asks for no memory.
static bool read_network(NnHeader& net, FILE* file) {
    unsigned char bytes[HEADER_BYTES];
    int64_t length = file_length(file);
    if (length < 0 || fread(bytes, 1, HEADER_BYTES, file) != HEADER_BYTES) return false;
    parse_header(net, bytes);
    int64_t needed = int64_t{HEADER_BYTES} + net.total * int64_t{WEIGHT_BYTES};
    if (!sizes_make_sense(net) || needed > length) return false;
    allocate_weights(net);
    if (read_weights(net, file)) return true;
    free_pages(net.weights, array_bytes(net));
    return false;
}

static bool load_file(NnHeader& net, const char* name) {
    FILE* file = open_plain_file(name, "rb");
    if (!file && strict_protocol()) {
        PrintFormat("info string can't open %s: %s", name, file_trouble(name));
        return false;
    }
    if (!file) {
        PrintFormat("info string can't open %s", name);
        exit(0);
    }
    bool whole = read_network(net, file);
    fclose(file);
    if (!whole && strict_protocol()) PrintFormat("info string %s is no whole network", name);
    if (whole) PrintFormat("info string loaded %s", name);
    return whole;
}

// A network of random weights, to train from.
static void create_network(NnHeader& net) {
    constexpr float EXTRA = 2.0f;      // among them the biases of both layers
    constexpr int DRAWN_STEPS = 20000; // from -1 to below 1
    constexpr double DRAWN_STEP = 0.0001, MIN_DRAWN = -1.0;
    net.version = 540;
    net.format = 1;
    net.board_inputs = NN_BOARD_INPUTS;
    net.material_inputs = NN_MATERIAL_INPUTS;
    net.hidden1 = 768;
    net.hidden2 = 0;
    net.outputs = 5;
    compute_sizes(net);
    allocate_weights(net);

    seed_random(static_cast<unsigned>(time(nullptr)));
    int64_t drawn = net.total - EXTRAS;
    for (int64_t i = 0; i < drawn; i++)
        net.weights[i] = static_cast<float>(random_number() % DRAWN_STEPS * DRAWN_STEP + MIN_DRAWN);
    for (int64_t i = drawn; i < net.total; i++) net.weights[i] = EXTRA;
}

void NnUnload() {
    free_pages(nn_header.weights, nn_header.weights ? array_bytes(nn_header) : 0);
    uint32_t generation = nn_header.generation;
    nn_header = {};
    nn_header.generation = generation;
}

// Puts a network in the old one's place. What threads keep of the old one is known by its number.
static void replace_network(NnHeader& net) {
    NnUnload();
    net.generation = nn_header.generation + 1;
    nn_header = net;
    eval_epoch.fetch_add(1, std::memory_order_relaxed);
}

bool NnSave(const char* name) {
    const NnHeader& net = nn_header;
    OutputFile file;
    // Nothing that could block: a running engine writes here.
    if (kind_of_file(name) == FileKind::OTHER || !begin_output(file, name)) return false;
    unsigned char header[HEADER_BYTES];
    const uint16_t fields[] = {net.version, net.format,  net.board_inputs, net.material_inputs,
                               net.hidden1, net.hidden2, net.outputs};
    unsigned char* out = header;
    for (uint16_t field : fields) {
        write_u16(out, field);
        out += 2;
    }
    write_u16(out, static_cast<unsigned>(net.total & 0xFFFF));
    write_u16(out + 2, static_cast<unsigned>(net.total >> 16));
    bool written = fwrite(header, 1, sizeof header, file.stream) == sizeof header;
    for (int64_t i = 0; written && i < net.total; i++) {
        unsigned char bytes[WEIGHT_BYTES];
        write_u16(bytes, static_cast<unsigned>(lround(net.weights[i] * STEPS_OF_ONE)));
        written = fwrite(bytes, 1, sizeof bytes, file.stream) == sizeof bytes;
    }
    return finish_output(file);
}

// A path can be forced, for comparisons; a name that can't be had counts as none.
static void select_path_once() {
    static bool done;
    if (!done && !NnSelectPath(getenv("MIRD_NN_PATH"))) NnSelectPath("");
    done = true;
}

// The name of the network in use. Where another can't be had, the strict protocol goes back to it.
static char loaded_name[FILE_NAME_LENGTH] = "embedded";

static void keep_loaded_name() {
    if (strict_protocol())
        copy_text(active_personality.NN_File, loaded_name, sizeof active_personality.NN_File);
}

void NnLoad() {
    select_path_once();
    const char* name = active_personality.NN_File;
    NnHeader net = {};
    if (strcmp(name, "embedded") == 0) {
        if (!load_embedded(net)) return;
        Print("info string using embedded network");
    } else if (strcmp(name, "new") == 0) {
        create_network(net);
        replace_network(net);
        copy_text(loaded_name, name, sizeof loaded_name);
        NnSave("nn.bin");
        Print("info string created new NN");
        return;
    } else if (!load_file(net, name)) {
        // The engine never plays with weights that were not read.
        net = {};
        keep_loaded_name();
        if (nn_header.weights || !load_embedded(net)) return;
    }
    replace_network(net);
    copy_text(loaded_name, name, sizeof loaded_name);
}
