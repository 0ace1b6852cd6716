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

// An option that takes one of a few words, which its help shows; the present value is the default.
template <class T>
void AddChoice(CLI::App* pCommand, const std::string& strName, T& value,
               const std::vector<std::pair<const char*, T>>& words, const std::string& strHelp) {
    std::string strWords;
    std::string strDefault;
    for (const auto& [szWord, meaning] : words) {
        strWords += (strWords.empty() ? "" : "|") + std::string(szWord);
        if (meaning == value) strDefault = szWord;
    }
    const auto check = [words, strWords](std::string& strText) {
        for (const auto& [szWord, meaning] : words) {
            if (strText != szWord) continue;
            strText = std::to_string(static_cast<int>(meaning));
            return std::string();
        }
        return "takes " + strWords + ", not " + strText;
    };
    pCommand->add_option(strName, value, strHelp + " (" + strDefault + ")")
        ->transform(CLI::Validator(check, ""))
        ->type_name(strWords);
}

[[noreturn]] void Fail(const std::string& strPlace, const std::exception& e) {
    throw std::runtime_error(strPlace + ": " + e.what() + "; nothing of this file is imported");
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
            if (result.nOutside != 0) {
                std::cout << "; outside the sessions, so part of the bars beside them: "
                          << result.nOutside;
            }
            std::cout << std::endl;
        } catch (const ImportError& e) {
            Fail(strFile + (e.nLine > 0 ? ":" + std::to_string(e.nLine) : std::string()), e);
        } catch (const StoreError& e) {
            Fail(strFile, e);
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
        pKind->add_option("--db", p->strDb, "The store's file")->required()->type_name("FILE");
        pKind->add_option("files", p->vecFiles, "Files; each is imported whole or not at all")
            ->required()
            ->type_name("");
        pKind->add_option("--map", p->vecMap,
                          "Other column names; * in both for numbered columns")
            ->allow_extra_args(false)  // what follows is a file
            ->type_name("THEIRS=OURS,...");
        pKind->add_option("--set", p->vecSet, "Values for every row")
            ->allow_extra_args(false)
            ->type_name("OURS=VALUE,...");
        pKind->add_option("--encoding", p->options.strEncoding, "Text encoding, such as gbk")
            ->capture_default_str()
            ->type_name("NAME");
        if (row.kind != ImportKind::Codes && row.kind != ImportKind::Adjust) {
            pKind
                ->add_option("--decimals", p->nDecimals,
                             "Prices are whole numbers with this many decimals in them")
                ->check(CLI::Range(0, 9).description(""))
                ->capture_default_str()
                ->type_name("N");
            pKind->add_option("--volume-unit", p->strVolumeUnit, "What a volume of 1 stands for")
                ->capture_default_str()
                ->type_name("N");
            pKind
                ->add_option("--turnover-unit", p->strTurnoverUnit,
                             "What a turnover of 1 stands for")
                ->capture_default_str()
                ->type_name("N");
            if (row.kind == ImportKind::Bars) p->options.timeForm = TimeForm::Hhmmss;
            AddChoice<TimeForm>(pKind, "--time", p->options.timeForm,
                                {{"hhmmss", TimeForm::Hhmmss},
                                 {"hhmmsscc", TimeForm::HhmmssCc},
                                 {"hhmmssmmm", TimeForm::HhmmssMmm}},
                                "Form of times without colons");
            AddChoice<NightForm>(pKind, "--night", p->options.nightForm,
                                 {{"calendar", NightForm::Calendar},
                                  {"trading", NightForm::Trading},
                                  {"none", NightForm::None}},
                                 "Night rows carry their calendar date or their trading day");
            pKind->add_flag("--append", p->options.bAppend,
                            "Add to the days that are stored instead of replacing them");
        }
        if (row.kind == ImportKind::Bars) {
            AddChoice<int>(pKind, "--cycle", p->options.nBarMinutes,
                           {{"minute", 1}, {"5m", 5}, {"day", 0}}, "What a bar covers");
            AddChoice<bool>(pKind, "--label", p->options.bLabelAtEnd,
                            {{"begin", false}, {"end", true}},
                            "A bar is named by the begin or the end of its minutes");
            AddChoice<bool>(pKind, "--auction", p->options.bRefuseAuction,
                            {{"join", false}, {"refuse", true}},
                            "A bar before a session is joined to its first, or the file refused");
        }
        if (row.kind == ImportKind::Ticks || row.kind == ImportKind::Bars ||
            row.kind == ImportKind::Snapshots) {
            AddChoice<bool>(pKind, "--volume", p->options.bCumulative,
                            {{"per-row", false}, {"cumulative", true}},
                            "Volume and turnover of a row, or of the day so far");
        }
        pKind->callback([p, kind = row.kind] { Import(kind, *p); });
    }
}

}  // namespace qrx::server
