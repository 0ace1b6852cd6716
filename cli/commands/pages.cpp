// pages: what the build installs beside the program, made from the table of commands.
#include <algorithm>
#include <filesystem>

#include "app/context.h"
#include "commands/command.h"
#include "pages/pages.h"

namespace qrx::cli {
namespace {

void WriteFile(const std::filesystem::path& path, const std::string& strText) {
    Sink sink(path.string());
    sink.Write(strText);
    sink.Finish();
}

}  // namespace

void RunPages(Context& context) {
    const std::filesystem::path folder = context.Args().Get("FOLDER");
    for (const char* szPart : {"man", "bash", "zsh"}) {
        std::filesystem::create_directories(folder / szPart);
    }
    WriteFile(folder / "man" / "qrx.1", ManualPage());
    for (const Command* pCommand : ShownCommands()) {
        std::string strName = std::string("qrx-") + pCommand->szName + ".1";
        std::replace(strName.begin(), strName.end(), ' ', '-');
        WriteFile(folder / "man" / strName, ManualPage(*pCommand));
    }
    WriteFile(folder / "bash" / "qrx", BashCompletion());
    WriteFile(folder / "zsh" / "_qrx", ZshCompletion());
}

}  // namespace qrx::cli
