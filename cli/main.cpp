// qrx, the command line of the client library: parses, runs one command, and turns what ended it
// into a sentence on the standard error and an exit code.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <new>

#include "app/context.h"
#include "app/failure.h"
#include "app/interrupt.h"
#include "app/parser.h"

namespace {

int Run(int argc, char** argv) {
    using namespace qrx::cli;
    interrupt::Start();
    const Parsed parsed = Parse(argc, argv);
    if (parsed.pCommand == nullptr) {
        Sink sink("");
        sink.Write(parsed.strText);
        sink.Finish();
        return EXIT_OK;
    }
    Context context(parsed.arguments);
    if ((parsed.pCommand->nTraits & Command::OwnSettings) == 0) context.GetSettings();
    try {
        parsed.pCommand->pfnRun(context);
    } catch (const Failure& failure) {
        const auto& vecOptions = parsed.pCommand->vecOptions;
        const bool bOfDays = std::any_of(vecOptions.begin(), vecOptions.end(), [](const auto& row) {
            return std::string("--from") == row.Key();
        });
        if (failure.Code() != EXIT_NO_DATA || !bOfDays || parsed.arguments.Has("--from")) throw;
        throw Failure(EXIT_NO_DATA, failure.Sentence() + "; give another day with --from");
    }
    return EXIT_OK;
}

}  // namespace

int main(int argc, char** argv) {
    using namespace qrx::cli;
    try {
        return Run(argc, argv);
    } catch (const ReaderGone&) {
        return EXIT_OK;
    } catch (const Failure& failure) {
        const std::string& strSentence = failure.Sentence();
        if (!strSentence.empty()) {
            const char* szEnd = strSentence.ends_with('?') ? "" : ".";
            fprintf(stderr, "qrx: %s%s\n", strSentence.c_str(), szEnd);
        }
        return failure.Code();
    } catch (const std::bad_alloc&) {
        fprintf(stderr, "qrx: there is not enough memory.\n");
        return EXIT_MEMORY;
    } catch (const std::exception& error) {
        fprintf(stderr, "qrx: %s.\n", error.what());
        return EXIT_OTHER;
    }
}
