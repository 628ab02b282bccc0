#pragma once

#include "apps/userdb/commands.h"

#include <functional>

namespace userdb {

/// What somebody asks for by a command line.
struct command_line {
    arguments given;
    std::function<status(const arguments& given)> run; ///< the command
};

/// Reads a command line. If it asks for help, that is the command. Throws `bad_input` if it is none
/// that the program knows.
command_line parse(int argc, const char* const* argv);

} // namespace userdb
