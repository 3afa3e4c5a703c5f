// The methods of the protocol as a table.
#pragma once

#include <optional>
#include <string_view>

#include "dme/transactions.h"

namespace cmm::dme {

class Server;

/// Where a method may be called; bits.
enum Allowed : unsigned {
    kInSession = 0,
    kWithoutSession = 1,
    kInError = 2,
};

/// What must be true of the machine and its tool; bits.
enum Needs : unsigned {
    kNothing = 0,
    kHomed = 1,
    kMeasuringTool = 2,
    kScanning = 4,
};

/// What the brackets hold.
enum class Arguments {
    kNone,
    kNumbers,  // `least` to `most` of them
    kOneText,
    kOneWord,
    kList,  // calls, of which the method knows which
    kAny,   // the method looks for itself
};

struct Method {
    const char *name;
    bool fast;  // carried out as it comes
    unsigned allowed;
    unsigned needs;
    Arguments arguments;
    int least, most;                                      // how many
    void (Server::*start)(const TransactionPtr &);        // null: the machine has nothing for it
    bool (Server::*mayRunAhead)(const Argument &) const;  // null: it waits for those before it
};

/// Null: there is none of that name.
const Method *FindMethod(std::string_view name);

/// Result: why the arguments are not those of the method.
std::optional<Fault> CheckArguments(const Method &method, const Argument &call);

}  // namespace cmm::dme
