#include "tests/model.h"

TEST(Model, RandomOperationsLeaveWhatAMapWouldHold) {
    for (int run = 0; run < 10; ++run) {
        Random random;
        Model model(std::ref(random), run % 2 == 0);
        random.repeat(200, [&] { model.step(); });
    }
}
