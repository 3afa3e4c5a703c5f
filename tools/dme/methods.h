// The methods of the protocol as a table.
#pragma once

#include <optional>
#include <string_view>

#include "dme/transactions.h"

namespace cmm::dme {

class Server;

/// How a method is taken, and what must be true for it; bits.
enum Trait : unsigned {
    kFast = 1,  // carried out as it comes, beside what runs
    kWithoutSession = 2,
    kInError = 4,  // allowed after a blocking error
    kHomed = 8,
    kMeasuringTool = 16,
    kScanning = 32,  // by the controller
    kClears = 64,    // ends what an error bars
    kTable = 128,    // the rotary table
};

/// What the brackets hold.
enum class Arguments {
    None,
    Numbers,
    OneText,
    OneWord,
    List,  // calls, of which the method knows which
    Any,   // the method looks for itself
};

struct Method {
    const char *name;
    void (Server::*start)(const TransactionPtr &);  // null: the machine has nothing for it
    Arguments arguments;
    int least, most;                                                // how many arguments; most -1: any number
    unsigned traits = 0;                                            // Trait
    bool (Server::*mayRunAhead)(const Argument &) const = nullptr;  // null: it waits for those before it

    bool Has(Trait trait) const { return (traits & trait) != 0; }
};

/// Null: there is none of that name.
const Method *FindMethod(std::string_view name);

/// Result: why the arguments are not those of the method.
std::optional<Fault> CheckArguments(const Method &method, const Argument &call);

}  // namespace cmm::dme
