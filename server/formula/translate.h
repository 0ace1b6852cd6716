// A formula becomes Lua in which comparison and logic work on whole columns.
//
// Lua turns what a comparison returns into true or false, and knows no and, or, not for values of
// one's own. So these operators become calls, in place and with Lua's precedence:
//
//   a < b           (__lt(a ,b))
//   not a           (__not(a))
//   a and b and c   (__and(a ,function()return b end ,function()return c end))
//   if a then       if (__test(a)) then      also behind elseif, while and until
//
// The right sides of and and or stay unevaluated until they are needed. Nothing else changes, and
// nothing moves to another line: comments, texts and line numbers stay.
//
// The grammar is checked on the way, so that errors speak of the text that the author wrote.
#ifndef QRX_SERVER_FORMULA_TRANSLATE_H
#define QRX_SERVER_FORMULA_TRANSLATE_H

#include <map>
#include <set>
#include <string>
#include <string_view>

namespace qrx::server::formula {

// The operators as calls, in the order in which the translated chunk takes them as its arguments.
inline constexpr const char* kHelpers[] = {"__lt", "__le",  "__gt", "__ge",  "__eq",
                                           "__ne", "__and", "__or", "__not", "__test"};

struct Translation {
    std::string strLua;
    std::set<std::string, std::less<>> setNames;            // every name that occurs
    std::set<std::string, std::less<>> setDefaults;         // names in statements like N = N or 12
    std::map<std::string, size_t, std::less<>> mapTargets;  // place among all names assigned to
};

// Throws FormulaError.
Translation Translate(std::string_view text);

}  // namespace qrx::server::formula

#endif
