// codes: the code tables, with names as UTF-8.
#include <algorithm>

#include "app/context.h"
#include "app/failure.h"
#include "commands/command.h"

namespace qrx::cli {
namespace {

std::string Lower(std::string strText) {
    for (char& ch : strText) ch = static_cast<char>(tolower(static_cast<unsigned char>(ch)));
    return strText;
}

bool Contains(const std::string& strText, const std::string& strPart) {
    return Lower(strText).find(strPart) != std::string::npos;
}

}  // namespace

void RunCodes(Context& context) {
    const std::string strMarket = context.Args().Get("MARKET");
    const std::string strSearch = Lower(context.Args().Get("--search"));
    const Decoder decoder(context.GetSettings().strEncoding);
    const auto pResults = context.OpenResults({{"code", Kind::Text},
                                               {"name", Kind::Text},
                                               {"market", Kind::Text},
                                               {"type", Kind::Count},
                                               {"kind", Kind::Text}});
    Connection& connection = context.Connect();
    const auto& vecMarkets = connection.Markets();
    const bool bKnown = std::any_of(
        vecMarkets.begin(), vecMarkets.end(),
        [&](const std::string& strKnown) { return Lower(strKnown) == Lower(strMarket); });
    if (!strMarket.empty() && !bKnown) {
        std::string strList;
        for (const std::string& strKnown : vecMarkets) strList += " " + strKnown;
        throw Failure(EXIT_UNKNOWN_CODE,
                      "MARKET: you have no market \"" + strMarket + "\", only" + strList);
    }
    const std::string strWhat = "securities" + (strMarket.empty() ? "" : " of " + strMarket) +
                                (strSearch.empty() ? "" : " with \"" + strSearch + "\"");
    const auto codes = connection.Get().Codes(strMarket.c_str());
    connection.Check(codes.code, strWhat);
    for (const QRXDefine_Code& code : codes.value) {
        const std::string strCode = decoder.ToUtf8(FieldView(code.szVelaCode));
        const std::string strName = decoder.ToUtf8(FieldView(code.szName));
        if (!Contains(strCode, strSearch) && !Contains(strName, strSearch)) continue;
        const std::string strOwner = decoder.ToUtf8(FieldView(code.szMarket));
        const Cell cells[] = {
            {0, strCode}, {0, strName}, {0, strOwner}, {code.nType}, {0, KindOfType(code.nType)}};
        pResults->Row(cells);
    }
    connection.Check(pResults->Rows() > 0 ? ResultCode::Ok : ResultCode::NoData, strWhat);
    pResults->Finish();
}

}  // namespace qrx::cli
