#include "tests/support.h"

using base::log::level;
using base::log::printer;

namespace {

TEST(Logging, HandsEachMessageToTheSink) {
    std::string seen;
    const logging_to sink([&](level lev, const std::string& tag, const std::string& text) {
        seen += std::to_string(static_cast<int>(lev)) + "|" + tag + "|" + text + ";";
    });
    EXPECT_TRUE(logInited);
    const std::string piece = "piece";
    printer(level::WARNING, "dir/file.cpp", 12) << "n:" << 0U << ' ' << piece << "" << std::endl;
    printer(level::FATAL, "x", 1) << 1234567U << std::endl << 255;
    EXPECT_EQ(seen, "3|dir/file.cpp:12|n:0 piece;5|x:1|1234567\n255;");

    base::log::set_sink([](auto&&...) { throw std::runtime_error("a broken sink"); });
    printer(level::ERR, "x", 1) << "does not end the process";
}

} // namespace
