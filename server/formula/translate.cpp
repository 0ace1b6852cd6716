// A recursive descent through Lua's grammar that tells the rewriter what the operators become.
#include "formula/translate.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "formula/cursor.h"
#include "formula/rewriter.h"

namespace qrx::server::formula {
namespace {

struct Comparison {
    std::string_view symbol;
    const char* szCall;
};
constexpr Comparison kComparisons[] = {{"<", "(__lt("},  {"<=", "(__le("}, {">", "(__gt("},
                                       {">=", "(__ge("}, {"==", "(__eq("}, {"~=", "(__ne("}};
constexpr std::string_view kArithmetic[] = {"+", "-", "*", "/",  "//", "%",
                                            "&", "|", "~", "<<", ">>"};

template <class Symbols>
bool IsOneOf(std::string_view text, const Symbols& symbols) {
    return std::find(std::begin(symbols), std::end(symbols), text) != std::end(symbols);
}

class Translator : private Cursor {
public:
    explicit Translator(std::string_view text) : Cursor(text), m_rewriter(text, m_vecTokens) {}

    Translation Run() {
        Block();
        if (Now().kind != TokenKind::End) FailHere("unexpected " + Shown());
        std::string strTakes;
        for (const char* szHelper : kHelpers) {
            strTakes.append(strTakes.empty() ? "local " : ",").append(szHelper);
        }
        m_result.strLua = strTakes + "=...;" + m_rewriter.Text();
        m_result.setNames = std::move(m_setNames);
        return std::move(m_result);
    }

private:
    // -- Statements
    bool AtBlockEnd() const {
        constexpr std::string_view kEnds[] = {"else", "elseif", "end", "until"};
        return Now().kind == TokenKind::End ||
               (Now().kind == TokenKind::Symbol && IsOneOf(Now().text, kEnds));
    }
    void Block() {
        const Level level(*this);
        while (!AtBlockEnd()) {
            if (Accept("return")) {
                if (!AtBlockEnd() && !Is(";")) Expressions();
                Accept(";");
                if (!AtBlockEnd()) FailHere("nothing may follow return, not " + Shown());
                return;
            }
            Statement();
        }
    }
    void End(const char* szWhat, int nLine) {
        if (Accept("end")) return;
        FailHere("end expected for " + std::string(szWhat) + " of line " + std::to_string(nLine) +
                 ", not " + Shown());
    }
    void Condition() {
        const size_t nBegin = m_nAt;
        Expression();
        m_rewriter.Before(nBegin, "(__test(");
        m_rewriter.Behind(m_nAt - 1, "))");
    }

    void Statement() {
        const int nLine = Now().nLine;
        if (Accept(";") || Accept("break")) return;
        if (Accept("::")) {
            Name();
            Expect("::");
        } else if (Accept("goto")) {
            Name();
        } else if (Accept("do")) {
            Block();
            End("do", nLine);
        } else if (Accept("while")) {
            Condition();
            Expect("do");
            Block();
            End("while", nLine);
        } else if (Accept("repeat")) {
            Block();
            Expect("until");
            Condition();
        } else if (Accept("if")) {
            do {
                Condition();
                Expect("then");
                Block();
            } while (Accept("elseif"));
            if (Accept("else")) Block();
            End("if", nLine);
        } else if (Accept("for")) {
            For(nLine);
        } else if (Accept("function")) {
            Name();
            while (Accept(".")) Name();
            if (Accept(":")) Name();
            FunctionBody(nLine);
        } else if (Accept("local")) {
            Local(nLine);
        } else {
            CallOrAssignment();
        }
    }

    void For(int nLine) {
        Name();
        if (Accept("=")) {
            Expression();
            Expect(",");
            Expression();
            if (Accept(",")) Expression();
        } else {
            while (Accept(",")) Name();
            Expect("in");
            Expressions();
        }
        Expect("do");
        Block();
        End("for", nLine);
    }

    void Local(int nLine) {
        if (Accept("function")) {
            Name();
            FunctionBody(nLine);
            return;
        }
        do {
            Name();
            if (Accept("<")) {
                if (Name() != "const") FailHere("only <const> is known, not <close>");
                Expect(">");
            }
        } while (Accept(","));
        if (Accept("=")) Expressions();
    }

    void CallOrAssignment() {
        if (Now().kind == TokenKind::Name && Is(Ahead(1), "=") && Is(Ahead(3), "or") &&
            Ahead(2).kind == TokenKind::Name && Ahead(2).text == Now().text) {
            m_result.setDefaults.emplace(Now().text);
        }
        bool bCall = Target();
        if (!Is("=") && !Is(",")) {
            if (!bCall) FailHere("unexpected " + Shown());
            return;
        }
        while (!bCall && Accept(",")) bCall = Target();
        if (bCall) FailHere("a call cannot be assigned to");
        Expect("=");
        Expressions();
    }

    // What may be assigned to; true when it is a call.
    bool Target() {
        if (Now().kind == TokenKind::Name) {
            m_result.mapTargets.emplace(Now().text, m_result.mapTargets.size());
        }
        return Suffixed();
    }

    // -- Expressions
    void Expressions() {
        do {
            Expression();
        } while (Accept(","));
    }
    void Expression() {
        const Level level(*this);
        Logic("or", "(__or(", [this] { Logic("and", "(__and(", [this] { Compared(); }); });
    }
    template <class Part>
    void Logic(std::string_view symbol, const char* szCall, Part part) {
        const size_t nBegin = m_nAt;
        part();
        if (!Is(symbol)) return;
        m_rewriter.Before(nBegin, szCall);
        while (Is(symbol)) {
            m_rewriter.Instead(m_nAt++, ",function()return ");
            part();
            m_rewriter.Behind(m_nAt - 1, " end");
        }
        m_rewriter.Behind(m_nAt - 1, "))");
    }
    void Compared() {
        const size_t nBegin = m_nAt;
        Arithmetic();
        while (Now().kind == TokenKind::Symbol) {
            const auto* p = std::find_if(std::begin(kComparisons), std::end(kComparisons),
                                         [&](const auto& row) { return row.symbol == Now().text; });
            if (p == std::end(kComparisons)) return;
            m_rewriter.Before(nBegin, p->szCall);
            m_rewriter.Instead(m_nAt++, ",");
            Arithmetic();
            m_rewriter.Behind(m_nAt - 1, "))");
        }
    }
    // Which of these binds closer is of no matter here: none of them becomes a call.
    void Arithmetic() {
        Unary();
        while (Now().kind == TokenKind::Symbol && IsOneOf(Now().text, kArithmetic)) {
            ++m_nAt;
            Unary();
        }
    }
    void Unary() {
        const Level level(*this);
        if (Is("not")) {
            m_rewriter.Instead(m_nAt++, "(__not(");
            Unary();
            m_rewriter.Behind(m_nAt - 1, "))");
        } else if (Accept("-") || Accept("#") || Accept("~")) {
            Unary();
        } else {
            Simple();
            if (Accept("^")) Unary();
        }
    }
    void Simple() {
        const int nLine = Now().nLine;
        if (Now().kind == TokenKind::Number || Now().kind == TokenKind::Text) {
            ++m_nAt;
        } else if (Is("{")) {
            Table();
        } else if (Accept("function")) {
            FunctionBody(nLine);
        } else if (Is("...") && m_nFunctions == 0) {
            FailHere("... stands for nothing outside a function");
        } else if (!Accept("nil") && !Accept("true") && !Accept("false") && !Accept("...")) {
            Suffixed();
        }
    }
    // True when it ends as a call.
    bool Suffixed() {
        if (Accept("(")) {
            Expression();
            Expect(")");
        } else if (Now().kind == TokenKind::Name) {
            Name();
        } else {
            FailHere("unexpected " + Shown());
        }
        bool bCall = false;
        while (true) {
            if (Accept(".")) {
                Name();
                bCall = false;
            } else if (Accept("[")) {
                Expression();
                Expect("]");
                bCall = false;
            } else if (Accept(":")) {
                Name();
                Arguments();
                bCall = true;
            } else if (Is("(") || Is("{") || Now().kind == TokenKind::Text) {
                Arguments();
                bCall = true;
            } else {
                return bCall;
            }
        }
    }
    void Arguments() {
        if (Now().kind == TokenKind::Text) {
            ++m_nAt;
        } else if (Is("{")) {
            Table();
        } else {
            Expect("(");
            if (!Is(")")) Expressions();
            Expect(")");
        }
    }
    void Table() {
        const Level level(*this);
        Expect("{");
        while (!Is("}")) {
            if (Accept("[")) {
                Expression();
                Expect("]");
                Expect("=");
            } else if (Now().kind == TokenKind::Name && Is(Ahead(1), "=")) {
                Name();
                Expect("=");
            }
            Expression();
            if (!Accept(",") && !Accept(";")) break;
        }
        Expect("}");
    }
    void FunctionBody(int nLine) {
        Expect("(");
        while (!Is(")")) {
            if (!Accept("...")) Name();
            if (!Accept(",")) break;
        }
        Expect(")");
        ++m_nFunctions;
        Block();
        --m_nFunctions;
        End("function", nLine);
    }

    int m_nFunctions = 0;  // around the place
    Rewriter m_rewriter;
    Translation m_result;
};

}  // namespace

Translation Translate(std::string_view text) {
    return Translator(text).Run();
}

}  // namespace qrx::server::formula
