#include "apps/userdb/command_line.h"
#include "apps/userdb/database_file.h"
#include "apps/userdb/interruption.h"
#include "apps/userdb/terminal.h"

#include <clocale>
#include <csignal>
#include <fcntl.h>
#include <iostream>
#include <new>
#include <unistd.h>

namespace {

/// Does what the command line says.
userdb::status run(int argc, char** argv) {
    const userdb::command_line line = userdb::parse(argc, argv);
    try {
        return line.run(line.given);
    } catch (const sqlite::error& failure) {
        userdb::check_signals(); // one ends a statement
        throw userdb::failure(userdb::status::database_failed,
                              line.given.database + ": " +
                                  userdb::explained(failure, line.given.database));
    }
}

/// Reports why the program fails, in a line that is not too long.
int fail(userdb::status status, const std::string& why) {
    constexpr size_t longest = 500;
    userdb::report(why.size() <= longest ? why : why.substr(0, longest) + "...");
    return static_cast<int>(status);
}

/// Opens /dev/null as each standard stream that is closed, or a file of ours would become that
/// stream. Standard input can then only be written and the others only be read, so that what uses
/// them still fails.
void occupy_standard_streams() {
    for (const int file : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(file, F_GETFD) < 0) {
            static_cast<void>(open("/dev/null", file == STDIN_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
}

} // namespace

int main(int argc, char** argv) try {
    std::signal(SIGPIPE, SIG_DFL); // a reader that has enough ends the program quietly
    std::ios::sync_with_stdio(false);
    std::setlocale(LC_CTYPE, "C.UTF-8"); // texts are UTF-8, whatever the locale of the user is
    occupy_standard_streams();
    const userdb::status outcome = run(argc, argv);
    if (outcome == userdb::status::nothing_found) {
        userdb::report("nothing found");
    }
    if (!std::cout.flush()) {
        throw userdb::output_failed("done");
    }
    return static_cast<int>(outcome);
} catch (const userdb::interrupted& interruption) {
    userdb::report(interruption.what());
    std::signal(interruption.signal, SIG_DFL);
    std::raise(interruption.signal); // ends the process, and tells the shell why
} catch (const userdb::failure& failure) {
    return fail(failure.exit_status, failure.what());
} catch (const std::bad_alloc&) {
    return fail(userdb::status::database_failed, "out of memory");
} catch (const std::exception& failure) {
    return fail(userdb::status::database_failed, failure.what());
}
