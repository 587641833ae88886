// How a service misbehaves on the wire, one fault mode at a time: the bytes it sends, how it ends
// the connection, and what the journal keeps of it.
#pragma once

#include <functional>
#include <string>

#include "Exchange.h"
#include "Faults.h"
#include "HttpConnection.h"

namespace fdrsim {

// What a fault needs from the exchange it spoils.
struct FaultStage {
    HttpConnection& connection;
    const WakeSignal& release;              // set when a stalled request may be answered after all
    std::function<ServiceAnswer()> normal;  // the answer the service would give without the fault
    // Keeps the exchange in the journal with what was (or will be) sent.
    std::function<void(int status, std::string answer_body, Flags flags)> record;
};

// Plays `fault` (any mode but None and Refuse) on the stage's connection.
void PlayFault(const Fault& fault, FaultStage& stage);

// Sends a complete answer.
bool SendAnswer(HttpConnection& connection, const ServiceAnswer& answer);

}  // namespace fdrsim
