// From argv to a command and its arguments, driven by the table of commands.
#ifndef QRX_CLI_APP_PARSER_H
#define QRX_CLI_APP_PARSER_H

#include <string>

#include "commands/command.h"

namespace qrx::cli {

struct Parsed {
    const Command* pCommand = nullptr;  // null: print strText and end well
    std::string strText;
    Arguments arguments;
};

// Throws Failure(EXIT_USAGE).
Parsed Parse(int argc, char** argv);

}  // namespace qrx::cli

#endif
