// What must hold of every session, one by one. A breach is a fault of the library, unless it is one of the weaknesses that
// the rules bring with them, which are named here too and counted.
#pragma once

#include "account.h"

namespace campaign {

/// Compares the two sides of a session that has ended; adds what is broken, and which weaknesses were met.
void Judge(Account &account);

/// Compares what the library tells of the link, its events, statistics and history, with what the far end saw; for an
/// arm, by its number, that is open and at rest.
void CheckLine(Account &account, int number);

}  // namespace campaign
