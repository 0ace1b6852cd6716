// See the header.
#include "export/exporter.h"

#include <algorithm>
#include <filesystem>

#include "app/failure.h"
#include "app/interrupt.h"
#include "text/dates.h"

namespace qrx::cli {
namespace {

namespace fs = std::filesystem;

// A day that a server has nothing for is one without trading, or one that is not loaded yet.
constexpr int kDaysUntilEmptyIsSettled = 7;

}  // namespace

std::string PlannedPart::Name() const {
    std::string strName =
        pKind->strName + "/" + PathStep(std::string(FieldView(pCode->szVelaCode)));
    if (pKind->bDaily) strName += "/" + std::to_string(slice.nFrom);
    return strName;
}

Exporter::Exporter(Context& context, OutputChoice choice, Manifest& manifest)
    : m_context(context), m_choice(std::move(choice)), m_manifest(manifest) {
    if (m_choice.strFormat != "sqlite") return;
    // Rows that are gone are not complete, whatever the manifest says.
    if (!fs::exists(m_manifest.DatabasePath())) m_manifest.Forget();
    m_database.emplace(m_manifest.DatabasePath(), Database::Creation::InPlace);
}

ExportTally Exporter::Run(std::vector<PlannedPart> vecParts) {
    const auto bThere = [this](PlannedPart& part) { return IsThere(part); };
    m_tally.nThere = static_cast<int>(std::erase_if(vecParts, bThere));
    m_progress.emplace(static_cast<int>(vecParts.size()), "parts");
    try {
        for (const PlannedPart& part : vecParts) {
            try {
                Take(part);
            } catch (const Failure& failure) {
                if (failure.Code() != EXIT_COMPLETION) throw;
                if (m_tally.nFailed++ == 0) m_tally.strFailed = failure.Sentence();
            }
            m_progress->Done(m_tally.nRows);
            SaveNowAndThen();
        }
    } catch (const Failure& failure) {
        m_progress.reset();
        Save();
        const std::string strWhy =
            failure.Code() == EXIT_INTERRUPTED ? "interrupted" : failure.Sentence();
        throw Failure(failure.Code(), strWhy + "; the same command goes on from here");
    }
    m_progress.reset();
    Save();
    return m_tally;
}

// A part over many days that was asked for other days before is asked again over both together.
bool Exporter::IsThere(PlannedPart& part) {
    const std::string strName = part.Name();
    const Part* pFormer = m_manifest.Find(strName);
    if (pFormer == nullptr) return false;
    const bool bCovered = pFormer->nFrom <= part.slice.nFrom && part.slice.nTo <= pFormer->nTo;
    part.slice.nFrom = std::min(part.slice.nFrom, pFormer->nFrom);
    part.slice.nTo = std::max(part.slice.nTo, pFormer->nTo);
    if (!bCovered || pFormer->state == Part::Open) return false;
    if (pFormer->state == Part::Empty) return true;
    std::error_code error;
    const auto nBytes = m_database ? 0 : fs::file_size(m_manifest.PartPath(strName), error);
    const bool bWhole = !error && static_cast<int64_t>(nBytes) == pFormer->nBytes;
    m_tally.bAnyRow = m_tally.bAnyRow || bWhole;
    return bWhole;
}

// Whether there may be more of it tomorrow.
bool Exporter::IsOpen(const PlannedPart& part, bool bEmpty) const {
    const int nSettled = bEmpty ? AddDays(m_nToday, -kDaysUntilEmptyIsSettled) : m_nToday;
    return part.slice.nTo >= nSettled;
}

void Exporter::Take(const PlannedPart& part) {
    if (m_unfit.count({part.pKind, part.pCode}) != 0) {
        ++m_tally.nUnfit;
        return;
    }
    Connection& connection = m_context.Connect();
    const Fetched fetched = part.pKind->fetch(connection.Get(), *part.pCode, part.slice);
    interrupt::Check();
    if (fetched.code == ResultCode::WrongType) {
        m_unfit.insert({part.pKind, part.pCode});
        ++m_tally.nUnfit;
        return;
    }
    Part done;
    if (fetched.code == ResultCode::NoData) {
        ++m_tally.nEmpty;
        done.state = Part::Empty;
        std::error_code none;
        if (!m_database) fs::remove(m_manifest.PartPath(part.Name()), none);
        if (m_database) Write(part, {});
    } else {
        connection.Check(fetched.code,
                         part.pKind->szPlural +
                             (" of " + std::string(FieldView(part.pCode->szVelaCode))) + " " +
                             part.Days().Text());
        done = Write(part, fetched);
        ++m_tally.nWritten;
        m_tally.bAnyRow = true;
        m_tally.nRows += done.nRows;
    }
    if (IsOpen(part, done.state == Part::Empty)) {
        ++m_tally.nOpen;
        done.state = Part::Open;
    }
    done.nFrom = part.slice.nFrom;
    done.nTo = part.slice.nTo;
    m_manifest.Set(part.Name(), done);
}

Part Exporter::Write(const PlannedPart& part, const Fetched& fetched) {
    const RecordKind& kind = *part.pKind;
    Part done;
    done.nRows = static_cast<int64_t>(fetched.nCount);
    if (m_database) {
        m_database->Run("SAVEPOINT part");
        try {
            Results results(m_choice, kind.GetShape(), *m_database);
            results.AskedFor(std::string(FieldView(part.pCode->szVelaCode)), part.Days());
            results.Records(*kind.pColumns, fetched.pRecords, fetched.nCount, kind.nRecordBytes);
            results.Finish();
        } catch (...) {
            m_database->Run("ROLLBACK TO part; RELEASE part");
            throw;
        }
        m_database->Run("RELEASE part");
        return done;
    }
    OutputChoice choice = m_choice;
    choice.strFile = m_manifest.PartPath(part.Name());
    std::error_code error;
    const fs::path folder = fs::path(choice.strFile).parent_path();
    fs::create_directories(folder, error);
    if (error) {
        throw Failure(EXIT_OUTPUT, "cannot create " + folder.string() + ": " + error.message());
    }
    Results results(choice, kind.GetShape());
    results.Records(*kind.pColumns, fetched.pRecords, fetched.nCount, kind.nRecordBytes);
    results.Finish();
    done.nBytes = static_cast<int64_t>(fs::file_size(choice.strFile, error));
    return done;
}

// Rows first: the manifest must not name what could still be lost.
void Exporter::Save() {
    if (m_database) m_database->Commit();
    m_manifest.Save();
}

// A long manifest takes long to write.
void Exporter::SaveNowAndThen() {
    using Clock = std::chrono::steady_clock;
    const auto begin = Clock::now();
    if (begin < m_saved + m_pause) return;
    Save();
    m_saved = Clock::now();
    m_pause = std::max<Clock::duration>(std::chrono::seconds(1), 20 * (m_saved - begin));
}

}  // namespace qrx::cli
