// Every export that a client may call, with random arguments.
#pragma once

#include "client.h"

namespace campaign {

/// Makes one random call of an arm, open or not, that may be made at that place of a program.
void MakeCall(Client &client, int arm, Random &random);

/// A call that must succeed on an arm that works. Result: whether it did.
bool Works(Client &client, int arm);

}  // namespace campaign
