#include "base/base.shared/logging/logging.h"

#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

using base::log::level;
using base::log::printer;

namespace {

class Logging : public testing::Test {
protected:
    ~Logging() override {
        base::log::set_sink({});
        logInited = false;
    }
};

TEST_F(Logging, HandsEachMessageToTheSink) {
    std::string seen;
    base::log::set_sink([&](level lev, const std::string& tag, const std::string& text) {
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
