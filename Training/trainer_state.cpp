#include "Training/trainer_state.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

#include "Training/safe_file.h"

namespace {

struct StateHead {
    char magic[8];
    int32_t hidden, epoch;
    uint64_t steps, averaged;
    uint64_t settings; // bytes of their text, which follows; then the arrays
};
constexpr char STATE_MAGIC[9] = "MIRDTRN2";
constexpr uint64_t MAX_TEXT = 1 << 20; // bytes: a longer text is no text of ours

} // namespace

// All arrays of the state that hold something, in the order of the file.
static std::vector<Floats*> state_arrays(Trainer& trainer) {
    std::vector<Floats*> arrays;
    for (Weights* weights : {&trainer.weights, &trainer.delta, &trainer.rows, &trainer.bias})
        for (Floats* array : {&weights->value, &weights->first, &weights->second, &weights->mean})
            if (!array->empty()) arrays.push_back(array);
    return arrays;
}

bool save_state(Trainer& trainer, const std::string& settings, const std::string& path) {
    FILE* file = begin_file(path);
    if (!file) return false;
    StateHead head = {{},
                      trainer.settings.hidden,
                      trainer.epoch,
                      trainer.steps,
                      trainer.averaged,
                      settings.size()};
    memcpy(head.magic, STATE_MAGIC, sizeof head.magic);
    bool written = fwrite(&head, sizeof head, 1, file) == 1
                && fwrite(settings.data(), 1, settings.size(), file) == settings.size();
    for (Floats* array : state_arrays(trainer))
        written = written
               && fwrite(array->data(), sizeof(FloatLine), array->size(), file) == array->size();
    return finish_file(file, path, written);
}

// Opens a state behind its settings. Returns null if it is missing or no state.
static FILE* open_state(StateHead& head, std::string& settings, const std::string& path) {
    FILE* file = fopen(path.c_str(), "rb");
    if (!file) return nullptr;
    bool fits = fread(&head, sizeof head, 1, file) == 1
             && memcmp(head.magic, STATE_MAGIC, sizeof head.magic) == 0
             && head.settings <= MAX_TEXT;
    std::string text(fits ? head.settings : 0, ' ');
    if (fits && fread(text.data(), 1, text.size(), file) == text.size()) {
        settings = text;
        return file;
    }
    fclose(file);
    return nullptr;
}

bool read_state_settings(std::string& settings, const std::string& path) {
    StateHead head = {};
    FILE* file = open_state(head, settings, path);
    if (file) fclose(file);
    return file != nullptr;
}

bool load_state(Trainer& trainer, const std::string& path) {
    StateHead head = {};
    std::string ignored;
    FILE* file = open_state(head, ignored, path);
    if (!file) return false;
    bool fits = head.hidden == trainer.settings.hidden;
    std::vector<Floats> loaded;
    for (const Floats* array : state_arrays(trainer)) {
        loaded.emplace_back(array->size());
        fits = fits
            && fread(loaded.back().data(), sizeof(FloatLine), array->size(), file) == array->size();
    }
    fits = fits && fgetc(file) == EOF;
    fclose(file);
    if (!fits) return false;
    const std::vector<Floats*> arrays = state_arrays(trainer);
    for (size_t i = 0; i < arrays.size(); i++) *arrays[i] = std::move(loaded[i]);
    trainer.epoch = head.epoch;
    trainer.steps = head.steps;
    trainer.averaged = head.averaged;
    return true;
}
