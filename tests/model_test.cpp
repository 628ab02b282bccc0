#include "tests/model.h"

TEST(Model, RandomOperationsLeaveWhatAMapWouldHold) {
    for (int run = 0; run < 10 && !testing::Test::HasFailure(); ++run) {
        const unsigned seed = std::random_device()();
        SCOPED_TRACE("seed " + std::to_string(seed));
        Model model{std::mt19937_64(seed)};
        for (int i = 0; i < 200 && !testing::Test::HasFailure(); ++i) {
            model.step();
        }
    }
}
