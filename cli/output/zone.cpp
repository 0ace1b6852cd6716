// See the header.
#include "output/zone.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <vector>

#include "app/failure.h"
#include "text/encoding.h"
#include "text/nearest.h"

namespace qrx::cli {
namespace {

namespace chr = std::chrono;
namespace fs = std::filesystem;

fs::path ZoneFolder() {
    const char* szFolder = getenv("TZDIR");
    return szFolder != nullptr && *szFolder ? szFolder : "/usr/share/zoneinfo";
}

bool IsZoneFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    char magic[4] = {};
    file.read(magic, sizeof magic);
    return file && std::string_view(magic, sizeof magic) == "TZif";
}

// Names that people use: those of continents, and the plain ones such as UTC and Japan.
std::vector<std::string> ZoneNames() {
    std::vector<std::string> vecNames;
    std::error_code error;
    const fs::path folder = ZoneFolder();
    for (fs::recursive_directory_iterator it(folder, error), end; it != end; it.increment(error)) {
        const std::string strName = it->path().lexically_relative(folder).string();
        if (it->is_directory(error) && (strName == "posix" || strName == "right")) {
            it.disable_recursion_pending();
        } else if (it->is_regular_file(error) && IsZoneFile(it->path())) {
            vecNames.push_back(strName);
        }
    }
    std::sort(vecNames.begin(), vecNames.end());
    return vecNames;
}

// "london" finds Europe/London: a name's last part counts like the whole.
std::string NearestZone(const std::string& strWanted, const std::vector<std::string>& vecNames) {
    std::vector<std::pair<int, std::string>> vecRanked;
    const std::string strFolded = FoldCase(strWanted);
    for (const std::string& strName : vecNames) {
        const std::string strOther = FoldCase(strName);
        const std::string strPlace = strOther.substr(strOther.rfind('/') + 1);
        vecRanked.emplace_back(
            std::min(EditDistance(strFolded, strOther), EditDistance(strFolded, strPlace)),
            strName);
    }
    return std::min_element(vecRanked.begin(), vecRanked.end())->second;
}

}  // namespace

Zone::Zone(const std::string& strName) : m_strName(strName) {
    const bool bPlain = !strName.empty() && strName[0] != '/' && strName[0] != ':' &&
                        strName.find("..") == std::string::npos;
    if (!bPlain || !IsZoneFile(ZoneFolder() / strName)) {
        const std::vector<std::string> vecNames = ZoneNames();
        if (vecNames.empty()) {
            RefuseUsage("--tz: there are no zone files in " + ZoneFolder().string() +
                        "; install the package tzdata");
        }
        RefuseUsage("--tz: there is no zone \"" + strName + "\"; the nearest is \"" +
                    NearestZone(strName, vecNames) + "\"");
    }
    setenv("TZ", (":" + strName).c_str(), 1);
    tzset();
}

void Zone::Shift(int64_t& nDate, int64_t& nTime) {
    constexpr int64_t kDaySeconds = 86400;
    constexpr int64_t kExchangeAhead = 8 * 3600;
    constexpr int64_t kSlotSeconds = 900;
    constexpr int64_t kLastYear = 9998;
    const chr::year_month_day date(chr::year(static_cast<int>(nDate / 10000)),
                                   chr::month(static_cast<unsigned>(nDate / 100 % 100)),
                                   chr::day(static_cast<unsigned>(nDate % 100)));
    if (nDate <= 10000 || nDate / 10000 > kLastYear || !date.ok() || nTime < 0) return;
    const int64_t nUtc = chr::sys_days(date).time_since_epoch().count() * kDaySeconds +
                         nTime / 10000000 * 3600 + nTime / 100000 % 100 * 60 + nTime / 1000 % 100 -
                         kExchangeAhead;
    // No zone changes its clock inside a quarter of an hour.
    const int64_t nSlot =
        chr::floor<chr::duration<int64_t, std::ratio<kSlotSeconds>>>(chr::seconds(nUtc)).count();
    if (nSlot != m_nSlot) {
        const time_t now = nUtc;
        tm local{};
        localtime_r(&now, &local);
        m_nSlot = nSlot;
        m_nAhead = local.tm_gmtoff;
    }
    const chr::sys_seconds there{chr::seconds(nUtc + m_nAhead)};
    const auto day = chr::floor<chr::days>(there);
    const chr::year_month_day shifted(day);
    const int64_t nSeconds = (there - day).count();
    nDate = int64_t{static_cast<int>(shifted.year())} * 10000 +
            static_cast<unsigned>(shifted.month()) * 100 + static_cast<unsigned>(shifted.day());
    nTime = nSeconds / 3600 * 10000000 + nSeconds / 60 % 60 * 100000 + nSeconds % 60 * 1000 +
            nTime % 1000;
}

}  // namespace qrx::cli
