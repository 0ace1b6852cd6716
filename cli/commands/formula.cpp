// formula add, list, show and delete. Names and texts travel in the server's encoding.
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>

#include "app/context.h"
#include "app/failure.h"
#include "app/interrupt.h"
#include "commands/command.h"

namespace qrx::cli {
namespace {

std::string ReadText(const std::string& strPath) {
    std::ostringstream text;
    if (strPath == "-") {
        text << std::cin.rdbuf();
    } else {
        std::ifstream file(strPath, std::ios::binary);
        if (!file) RefuseUsage("--file: cannot read " + strPath);
        text << file.rdbuf();
    }
    std::string strRead = text.str();
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (strRead.starts_with(kByteOrderMark)) strRead.erase(0, kByteOrderMark.size());
    const size_t nNul = strRead.find('\0');  // a text ends there on its way to the server
    if (nNul != std::string::npos) {
        RefuseUsage("--file: the formula has a zero byte after " + std::to_string(nNul) +
                    " others; write it as text in UTF-8");
    }
    return strRead;
}

std::string EncodedName(const Context& context, const Decoder& decoder) {
    constexpr size_t kMost = 23;
    const std::string strName = decoder.FromUtf8(context.Args().Get("NAME"));
    if (strName.size() > kMost) {
        RefuseUsage("NAME: \"" + context.Args().Get("NAME") + "\" has more than 23 bytes");
    }
    return strName;
}

void Say(const std::string& strLine) {
    Sink sink("");
    sink.Write(strLine + "\n");
    sink.Finish();
}

std::string AndText(const std::string& strText) {
    return strText.empty() ? "" : ": " + strText;
}

}  // namespace

void RunFormulaAdd(Context& context) {
    const Arguments& args = context.Args();
    const Decoder decoder(context.GetSettings().strEncoding);
    if (args.Has("--text") == args.Has("--file")) {
        RefuseUsage(
            "give the formula as --text TEXT or as --file FILE, such as --text "
            "\"DIF = EMA(CLOSE, 12) - EMA(CLOSE, 26)\"");
    }
    const std::string strName = EncodedName(context, decoder);
    const std::string strText =
        decoder.FromUtf8(args.Has("--text") ? args.Get("--text") : ReadText(args.Get("--file")));
    if (strText.empty()) RefuseUsage("the formula is empty");
    if (strText.size() > kMaxFormulaText) {
        RefuseUsage("the formula has " + std::to_string(strText.size()) +
                    " bytes; at most 1048575 can be sent");
    }
    Connection& connection = context.Connect();
    const auto added = connection.Get().AddFormula(strName, strText);
    const std::string strInfo = decoder.ToUtf8(FieldView(added.value.szAddInfo));
    if (added.code == ResultCode::Formula) {
        throw Failure(EXIT_FORMULA,
                      "the server refused the formula " + args.Get("NAME") + AndText(strInfo));
    }
    connection.Check(added.code, "formulas");
    Say("stored " + args.Get("NAME") + AndText(strInfo));
}

void RunFormulaList(Context& context) {
    const Decoder decoder(context.GetSettings().strEncoding);
    const auto pResults =
        context.OpenResults({"formulas", {{"name", Kind::Text}, {"text", Kind::Text}}});
    Connection& connection = context.Connect();
    const auto items = connection.Get().Formulas();
    connection.Check(items.code, "formulas");
    for (const QRXDefine_FormulaItem& item : items.value) {
        const std::string strName = decoder.ToUtf8(FieldView(item.szFormulaName));
        const std::string strText = decoder.ToUtf8(FieldView(item.szFormulaText));
        const Cell cells[] = {{0, strName}, {0, strText}};
        pResults->Row(cells);
    }
    pResults->Finish();
}

void RunFormulaShow(Context& context) {
    const Decoder decoder(context.GetSettings().strEncoding);
    const std::string strName = EncodedName(context, decoder);
    Connection& connection = context.Connect();
    const auto items = connection.Get().Formulas(strName.c_str());
    connection.Check(items.code, "formulas named " + context.Args().Get("NAME"));
    std::string_view text = FieldView(items.value[0].szFormulaText);
    const bool bCut = text.size() == sizeof items.value[0].szFormulaText;
    // A formula has lines of its own: each is decoded by itself, since control characters go.
    std::string strLines;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        strLines += (strLines.empty() ? "" : "\n") + decoder.ToUtf8(line);
        text.remove_prefix(std::min(text.size(), line.size() + 1));
    }
    Say(strLines);
    if (bCut) std::cerr << "qrx: the server hands out the first 128 bytes only\n";
}

void RunFormulaDelete(Context& context) {
    const Decoder decoder(context.GetSettings().strEncoding);
    const std::string strName = EncodedName(context, decoder);
    const std::string strShown = context.Args().Get("NAME");
    Connection& connection = context.Connect();
    const auto found = connection.Get().Formulas(strName.c_str());
    connection.Check(found.code, "formulas named " + strShown);
    const auto deleted = connection.Get().DeleteFormula(strName);
    connection.Check(deleted.code, "formulas");
    const std::string strInfo = decoder.ToUtf8(FieldView(deleted.value.szDelInfo));
    // The answer has no code for a refusal: whether the formula is still there tells.
    const auto left = connection.Get().Formulas(strName.c_str());
    if (left.code != ResultCode::NoData) {
        connection.Check(left.code, "formulas");
        throw Failure(EXIT_FORMULA, "the server kept the formula " + strShown + AndText(strInfo));
    }
    Say("deleted " + strShown + AndText(strInfo));
}

}  // namespace qrx::cli
