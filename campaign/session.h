// One session: the client's calls and the faults of a plan, in virtual time, in a process that has run no other.
#pragma once

#include "account.h"

namespace campaign {

/// Runs the steps of a plan, ends all faults, lets the arms recover, closes them, and judges. tells: prints what happens.
Account RunSession(const Plan &plan, bool tells);

}  // namespace campaign
