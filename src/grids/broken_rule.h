// The sentence for people about a day of records that breaks a rule: day, record, time, rule.
#ifndef QRX_GRIDS_BROKEN_RULE_H
#define QRX_GRIDS_BROKEN_RULE_H

#include <string>

namespace qrx {

// "2024-01-05, record 3 at 11:35:00.000: more than one ...". nRecord counts from 0, the sentence
// from 1; below 0 no record in particular is named.
std::string BrokenRule(int nDay, int nRecord, int nTime, const char* szRule);

}  // namespace qrx

#endif
