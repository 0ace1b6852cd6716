// Where an instrument stands at the end of each day, known without simulating any.
//
// Close and open interest are functions of seed, instrument and date alone; the order flow of a day
// starts from the values of the weekday before and is steered to end on its own. So each day agrees
// with its neighbours although none needs them.
#ifndef QRX_SERVER_SIMULATE_PRICE_PATH_H
#define QRX_SERVER_SIMULATE_PRICE_PATH_H

#include <cstdint>

#include "simulate/instrument.h"
#include "simulate/random.h"

namespace qrx::simulate {

// The last trade's price of the trading day, a multiple of the tick. For stocks and contracts.
int CloseOf(const Instrument& instrument, uint64_t iSeed, int nDate);

// Open interest at the close; 0 for an instrument without any.
int InterestOf(const Instrument& instrument, uint64_t iSeed, int nDate);

// The random stream of an instrument's day; szUse keeps two uses of one day apart.
Random RandomOf(const Instrument& instrument, uint64_t iSeed, int nDate, const char* szUse);

}  // namespace qrx::simulate

#endif
