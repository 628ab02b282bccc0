#include "tests/model.h"

/// The input's bytes are the numbers that choose the operations and their values.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    GTEST_FLAG_SET(break_on_failure, true);
    const uint8_t* const end = data + size;
    Model model([&data, end] {
        // a byte in all eight places, so that large numbers occur too
        return data == end ? 0 : *data++ * uint64_t{0x0101010101010101};
    });
    while (data != end) {
        model.step();
    }
    return 0;
}
