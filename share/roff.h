// What every manual page of the tools is made with: texts in roff with the macros of man(7).
#ifndef QRX_SHARE_ROFF_H
#define QRX_SHARE_ROFF_H

#include <qrx/version.h>

#include <cctype>
#include <string>

namespace qrx::roff {

// A text's characters as they are: dashes as ASCII, no line taken for a request.
inline std::string Text(const std::string& strText) {
    std::string strOut;
    for (const char ch : strText) {
        if ((ch == '.' || ch == '\'') && (strOut.empty() || strOut.back() == '\n')) {
            strOut += "\\&";
        }
        switch (ch) {
            case '\\':
                strOut += "\\e";
                break;
            case '-':
                strOut += "\\-";
                break;
            case '~':
                strOut += "\\(ti";
                break;
            default:
                strOut += ch;
        }
    }
    return strOut;
}

inline std::string Bold(const std::string& strText) {
    return "\\fB" + Text(strText) + "\\fR";
}

inline std::string Italic(const std::string& strText) {
    return "\\fI" + Text(strText) + "\\fR";
}

inline std::string Section(const std::string& strTitle) {
    return ".SH " + strTitle + "\n";
}

// An item with its text, both in roff already.
inline std::string Item(const std::string& strItem, const std::string& strText) {
    return ".TP\n" + strItem + "\n" + strText + "\n";
}

// Title and name of a page of section 1.
inline std::string Head(const std::string& strName, const std::string& strSummary) {
    std::string strTitle = Text(strName);
    for (char& ch : strTitle) ch = static_cast<char>(toupper(static_cast<unsigned char>(ch)));
    return ".TH " + strTitle + " 1 \"\" \"qrx " QRX_VERSION_STRING "\" \"Market history\"\n" +
           Section("NAME") + Text(strName) + " \\- " + Text(strSummary) + "\n";
}

}  // namespace qrx::roff

#endif
