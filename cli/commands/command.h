// The table of commands: one row says everything about a command that parser, help, man page and
// completion need. A row is data; what the command does is the function that it names.
#ifndef QRX_CLI_COMMANDS_COMMAND_H
#define QRX_CLI_COMMANDS_COMMAND_H

#include <span>
#include <string>
#include <vector>

#include "app/arguments.h"

namespace qrx::cli {

class Context;

struct OptionRow {
    const char* szName;     // "--from", or "-f,--format"
    const char* szValue;    // placeholder; null for a flag
    const char* szHelp;     // without a full stop
    const char* szChoices;  // "table|csv|jsonl" or null
    // "ticks|trades": some of what may stand there, for shells to offer; where the placeholder has
    // a comma, of a list parted by commas.
    const char* szOffers = nullptr;
    const char* Key() const;  // the long name, which is the name in Arguments
};

struct PositionalRow {
    const char* szName;  // "CODE", its name in Arguments
    bool bRequired;
    const char* szHelp;
    bool bMany = false;  // several words, which Arguments holds with commas between
};

struct Command {
    const char* szName;  // "ticks", or "formula add" for a command of a group
    const char* szSummary;
    std::vector<PositionalRow> vecPositionals;
    std::vector<OptionRow> vecOptions;
    void (*pfnRun)(Context&);
    const char* szMore = "";      // what else to know, in sentences
    const char* szExamples = "";  // command lines
    enum : int {
        Plain = 0,
        OwnSettings = 1,  // reads settings by itself, if at all
        Hidden = 2        // for the build, not for users
    };
    int nTraits = Plain;
    std::vector<std::string> (*pfnColumns)() = nullptr;  // of --columns, for shells to offer
};

struct GroupRow {
    const char* szName;
    const char* szSummary;
};

const std::vector<Command>& Commands();
std::span<const GroupRow> Groups();
// What holds for every command, in paragraphs.
std::span<const char* const> AboutSettings();
std::span<const char* const> AboutOutput();
// Options that every command takes: connection and output.
std::span<const OptionRow> OutputOptions();
const std::vector<OptionRow>& ConnectionOptions();

// -- What the commands do, one file a family -------------------------------------------------

void RunCodes(Context& context);
void RunTicks(Context& context);
void RunTrades(Context& context);
void RunOrders(Context& context);
void RunQueues(Context& context);
void RunBars(Context& context);
void RunFutures(Context& context);
void RunFormulaAdd(Context& context);
void RunFormulaList(Context& context);
void RunFormulaShow(Context& context);
void RunFormulaDelete(Context& context);
void RunFormulaCalc(Context& context);
void RunExport(Context& context);
void RunDoctor(Context& context);
void RunPages(Context& context);

}  // namespace qrx::cli

#endif
