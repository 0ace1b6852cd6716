// import codes, ticks, trades, orders, queues, snapshots: options in, one line a file out.
#include <unistd.h>

#include <iostream>

#include "commands.h"
#include "import/importer.h"

namespace qrx::server {
namespace {

struct Arguments {
    std::string strDb;
    std::vector<std::string> vecFiles;
    std::vector<std::string> vecMap, vecSet;
    std::string strVolumeUnit = "1", strTurnoverUnit = "1";
    int nDecimals = 0;
    ImportOptions options;
};

int Unit(const std::string& strName, const std::string& strText) {
    const auto n = ParsePowerOfTen(strText);
    if (!n) throw std::runtime_error(strName + " takes a power of ten, such as 100 or 0.001");
    return *n;
}

void Import(ImportKind kind, Arguments& arguments) {
    ImportOptions& options = arguments.options;
    for (const auto& str : arguments.vecMap) {
        for (auto& pair : ParsePairs(str)) options.vecMap.push_back(std::move(pair));
    }
    for (const auto& str : arguments.vecSet) {
        for (auto& pair : ParsePairs(str)) options.vecSet.push_back(std::move(pair));
    }
    options.nPriceShift = -arguments.nDecimals;
    options.nVolumeShift = Unit("--volume-unit", arguments.strVolumeUnit);
    options.nTurnoverShift = Unit("--turnover-unit", arguments.strTurnoverUnit);
    options.bProgress = isatty(STDERR_FILENO) != 0;
    const auto pStore = OpenSqliteStore(arguments.strDb);
    const auto pImporter = MakeImporter(kind, *pStore, options);
    for (const auto& strFile : arguments.vecFiles) {
        try {
            const ImportResult result = pImporter->ImportFile(strFile);
            std::cout << strFile << ": " << result.nRows << " rows, " << result.nRecords
                      << " records";
            if (result.nDays != 0) std::cout << ", " << result.nDays << " days";
            std::cout << std::endl;
        } catch (const ImportError& e) {
            const std::string strLine = e.nLine > 0 ? ":" + std::to_string(e.nLine) : std::string();
            throw std::runtime_error(strFile + strLine + ": " + e.what() +
                                     "; nothing of this file is imported");
        }
    }
}

}  // namespace

void AddImportCommands(CLI::App& app) {
    static constexpr struct {
        const char* szName;
        const char* szHelp;
        ImportKind kind;
    } kKinds[] = {
        {"codes", "Code tables", ImportKind::Codes},
        {"ticks", "Snapshots of stocks and indexes, with up to ten levels", ImportKind::Ticks},
        {"trades", "Trades", ImportKind::Trades},
        {"orders", "Orders", ImportKind::Orders},
        {"queues", "Order queues", ImportKind::Queues},
        {"snapshots", "Snapshots of futures and options, with up to five levels",
         ImportKind::Snapshots},
        {"bars", "Bars of one minute, five minutes or one day", ImportKind::Bars},
        {"adjust", "Adjustment factors", ImportKind::Adjust},
    };
    CLI::App* pImport = app.add_subcommand("import", "Import CSV files, plain or gzip");
    pImport->require_subcommand(1);
    for (const auto& row : kKinds) {
        const auto p = std::make_shared<Arguments>();
        CLI::App* pKind = pImport->add_subcommand(row.szName, row.szHelp);
        pKind->add_option("--db", p->strDb, "The store's file")->required();
        pKind->add_option("files", p->vecFiles, "Files; each is imported whole or not at all")
            ->required();
        pKind
            ->add_option("--map", p->vecMap,
                         "Other column names: theirs=ours,... ; * in both for numbered columns")
            ->allow_extra_args(false);  // what follows is a file
        pKind->add_option("--set", p->vecSet, "Values for every row: ours=value,...")
            ->allow_extra_args(false);
        pKind->add_option("--encoding", p->options.strEncoding, "Text encoding, such as gbk")
            ->capture_default_str();
        if (row.kind != ImportKind::Codes && row.kind != ImportKind::Adjust) {
            pKind
                ->add_option("--decimals", p->nDecimals,
                             "Prices are whole numbers with this many decimals in them")
                ->check(CLI::Range(0, 9))
                ->capture_default_str();
            pKind->add_option("--volume-unit", p->strVolumeUnit, "What a volume of 1 stands for")
                ->capture_default_str();
            pKind
                ->add_option("--turnover-unit", p->strTurnoverUnit,
                             "What a turnover of 1 stands for")
                ->capture_default_str();
            pKind
                ->add_option("--time", p->options.timeForm,
                             "Form of times without colons: hhmmss, hhmmsscc, hhmmssmmm")
                ->transform(CLI::CheckedTransformer(
                    std::map<std::string, TimeForm>{{"hhmmss", TimeForm::Hhmmss},
                                                    {"hhmmsscc", TimeForm::HhmmssCc},
                                                    {"hhmmssmmm", TimeForm::HhmmssMmm}}));
            pKind
                ->add_option("--night", p->options.nightForm,
                             "Night rows carry their calendar date, their trading day, or there "
                             "are none: calendar, trading, none")
                ->transform(CLI::CheckedTransformer(
                    std::map<std::string, NightForm>{{"calendar", NightForm::Calendar},
                                                     {"trading", NightForm::Trading},
                                                     {"none", NightForm::None}}));
            pKind->add_flag("--append", p->options.bAppend,
                            "Add to the days that are stored instead of replacing them");
        }
        if (row.kind == ImportKind::Bars) {
            p->options.timeForm = TimeForm::Hhmmss;
            pKind
                ->add_option("--cycle", p->options.nBarMinutes,
                             "The bars are of one minute, of five, or of a day: minute, 5m, day")
                ->transform(CLI::CheckedTransformer(
                    std::map<std::string, int>{{"minute", 1}, {"5m", 5}, {"day", 0}}));
            pKind
                ->add_option("--label", p->options.bLabelAtEnd,
                             "A bar is named by the begin or the end of its minutes: begin, end")
                ->transform(CLI::CheckedTransformer(
                    std::map<std::string, bool>{{"begin", false}, {"end", true}}));
            pKind
                ->add_option("--auction", p->options.bRefuseAuction,
                             "A bar before a session is joined to the session's first, or the "
                             "file refused: join, refuse")
                ->transform(CLI::CheckedTransformer(
                    std::map<std::string, bool>{{"join", false}, {"refuse", true}}));
        }
        if (row.kind == ImportKind::Ticks || row.kind == ImportKind::Bars ||
            row.kind == ImportKind::Snapshots) {
            pKind
                ->add_option("--volume", p->options.bCumulative,
                             "Volume and turnover are per-row or cumulative")
                ->transform(CLI::CheckedTransformer(
                    std::map<std::string, bool>{{"per-row", false}, {"cumulative", true}}));
        }
        pKind->callback([p, kind = row.kind] { Import(kind, *p); });
    }
}

}  // namespace qrx::server
