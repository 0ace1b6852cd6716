// See the header.
#include "doctor/report.h"

#include "chart/terminal.h"
#include "text/encoding.h"

namespace qrx::cli {

Report::Report(const std::string& strOutput)
    : m_sink(strOutput), m_bUnicode(chart::ShowsUnicode()) {}

void Report::Good(const char* szStep, const std::string& strText) {
    Line(m_bUnicode ? "\u2713" : "ok", szStep, strText);
}

void Report::Bad(const Cross& cross) {
    Line(m_bUnicode ? "\u2717" : "no", cross.szStep, cross.strText);
    if (!cross.strCure.empty()) Line("", "", cross.strCure);
}

void Report::Line(std::string strMark, std::string strStep, const std::string& strText) {
    strMark.append(3 - DisplayWidth(strMark), ' ');
    strStep.resize(10, ' ');
    m_sink.Write(strMark + strStep + strText + "\n");
    m_sink.Flush();
}

}  // namespace qrx::cli
