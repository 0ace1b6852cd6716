// codes: the code tables, with names as UTF-8.
#include <algorithm>
#include <map>

#include "app/context.h"
#include "app/failure.h"
#include "commands/command.h"
#include "text/search.h"

namespace qrx::cli {

void RunCodes(Context& context) {
    const std::string strMarket = context.Args().Get("MARKET");
    const std::string strSearch = FoldCase(context.Args().Get("--search"));
    const Decoder decoder(context.GetSettings().strEncoding);
    const auto pResults = context.OpenResults({"codes",
                                               {{"code", Kind::Text},
                                                {"name", Kind::Text},
                                                {"market", Kind::Text},
                                                {"type", Kind::Count},
                                                {"kind", Kind::Text}}});
    Connection& connection = context.Connect();
    const auto& vecMarkets = connection.Markets();
    const bool bKnown = std::any_of(
        vecMarkets.begin(), vecMarkets.end(),
        [&](const std::string& strKnown) { return FoldCase(strKnown) == FoldCase(strMarket); });
    if (!strMarket.empty() && !bKnown) {
        std::string strList;
        for (const std::string& strKnown : vecMarkets) strList += " " + strKnown;
        throw Failure(EXIT_UNKNOWN_CODE,
                      "MARKET: you have no market \"" + strMarket + "\", only" + strList);
    }
    const std::string strWhat =
        "securities" + (strMarket.empty() ? "" : " of " + strMarket) +
        (strSearch.empty() ? "" : " with \"" + context.Args().Get("--search") + "\"");
    const auto codes = connection.Get().Codes(strMarket.c_str());
    connection.Check(codes.code, strWhat);
    // All in the order of the code tables, or the better answers to a search before the others.
    std::map<Rank, std::vector<const QRXDefine_Code*>> found;
    for (const QRXDefine_Code& code : codes.value) {
        const Rank rank = strSearch.empty()
                              ? Rank::Whole
                              : RankOf(strSearch, decoder.ToUtf8(FieldView(code.szVelaCode)),
                                       decoder.ToUtf8(FieldView(code.szName)));
        if (rank != Rank::None) found[rank].push_back(&code);
    }
    for (const auto& [rank, vecCodes] : found) {
        for (const QRXDefine_Code* pCode : vecCodes) {
            const std::string strCode = decoder.ToUtf8(FieldView(pCode->szVelaCode));
            const std::string strName = decoder.ToUtf8(FieldView(pCode->szName));
            const std::string strOwner = decoder.ToUtf8(FieldView(pCode->szMarket));
            const Cell cells[] = {{0, strCode},
                                  {0, strName},
                                  {0, strOwner},
                                  {pCode->nType},
                                  {0, KindOfType(pCode->nType)}};
            pResults->Row(cells);
        }
    }
    connection.Check(pResults->Rows() > 0 ? ResultCode::Ok : ResultCode::NoData, strWhat);
    pResults->Finish();
}

}  // namespace qrx::cli
