// Configuration files, and the listing of the options afterwards.

#include <string>

#include "base/state.h"
#include "base/text.h"
#include "fuzz/fuzz.h"
#include "shell/options.h"
#include "shell/think.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    begin_input();
    std::string lines = bearable_lines(data, size);
    write_input("test.cfg", reinterpret_cast<const uint8_t*>(lines.data()), lines.size());
    copy_text(active_personality.ConfigFilePath, "test.cfg",
              sizeof active_personality.ConfigFilePath);
    LoadConfig();
    print_options();
    if (active_personality.eval_dirty) rebuild_evaluation();
    return 0;
}
