#include "FaultPlayback.h"

#include <algorithm>

namespace fdrsim {

namespace {

Flags Noted(std::string text) {
    Flags flags;
    AddNote(flags, std::move(text));
    return flags;
}

// A 200 announcing all of `body` of which only the first `sent` bytes go out.
void CutShort(const Fault& fault, FaultStage& stage) {
    const std::string body = fault.body.empty() ? std::string(kCloseEarlyBody) : fault.body;
    const std::string sent = body.substr(0, std::min(fault.sent_bytes, body.size()));
    stage.record(
        200, sent,
        Noted("fault " + std::string(FaultName(fault.mode)) + ": sent " +
              std::to_string(sent.size()) + " of " + std::to_string(body.size()) + " bytes"));
    // A reset leaves no TIME_WAIT behind, so it can be repeated thousands of times on a port.
    if (fault.mode == FaultMode::ResetEarly) {
        stage.connection.ResetAfterAnswer();
    } else {
        stage.connection.CloseAfterAnswer();
    }
    stage.connection.Send(AnswerHead(200, "application/json", body.size()) + sent);
}

// head, filler, tail: streamed in slices, never held whole.
void StreamHuge(const Fault& fault, FaultStage& stage) {
    const size_t ends = fault.head.size() + fault.tail.size();
    const size_t total = std::max(fault.huge_bytes, ends);
    stage.record(200, {}, Noted("fault huge: " + std::to_string(total) + " bytes"));
    HttpConnection& connection = stage.connection;
    if (!connection.Send(AnswerHead(200, "application/json", total)) ||
        !connection.Send(fault.head)) {
        return;
    }
    const std::string slice(1 << 16, fault.filler);
    for (size_t left = total - ends; left > 0;) {
        const size_t n = std::min(left, slice.size());
        if (!connection.Send(slice.data(), n)) {
            return;
        }
        left -= n;
    }
    connection.Send(fault.tail);
}

void Drip(const Fault& fault, FaultStage& stage) {
    ServiceAnswer answer = stage.normal();
    Flags flags = answer.flags;
    AddNote(flags, "fault drip");
    stage.record(answer.status, answer.body, flags);
    const std::string bytes =
        AnswerHead(answer.status, answer.content_type, answer.body.size()) + answer.body;
    for (size_t i = 0; i < bytes.size(); ++i) {
        if ((i > 0 && !stage.connection.Pause(fault.drip_interval)) ||
            !stage.connection.Send(&bytes[i], 1)) {
            return;
        }
    }
}

void Complete(FaultStage& stage, int status, const std::string& body, const char* content_type,
              std::string note) {
    stage.record(status, body, Noted(std::move(note)));
    SendAnswer(stage.connection, {status, body, content_type, {}});
}

}  // namespace

bool SendAnswer(HttpConnection& connection, const ServiceAnswer& answer) {
    return connection.Send(AnswerHead(answer.status, answer.content_type, answer.body.size()) +
                           answer.body);
}

void PlayFault(const Fault& fault, FaultStage& stage) {
    switch (fault.mode) {
        case FaultMode::None:
        case FaultMode::Refuse:
            break;
        case FaultMode::Stall:
            stage.record(0, {}, Noted("fault stall: not answered"));
            if (stage.connection.Hold(stage.release)) {
                SendAnswer(stage.connection, stage.normal());
            }
            break;
        case FaultMode::Status:
            Complete(stage, fault.status, fault.body, "application/json",
                     "fault status " + std::to_string(fault.status));
            break;
        case FaultMode::InternalError:
            Complete(stage, 500, kInternalErrorBody, "application/json", "fault 500");
            break;
        case FaultMode::NotFound:
            Complete(stage, 404, kNotFoundBody, "application/json", "fault 404");
            break;
        case FaultMode::Garbage:
            Complete(stage, 200, kGarbageBody, "text/html", "fault garbage");
            break;
        case FaultMode::DeepNesting: {
            const std::string object = fault.body.empty() ? stage.normal().body : fault.body;
            Complete(stage, 200, NestedJson(object.empty() ? "{}" : object, fault.depth),
                     "application/json",
                     "fault deep-nesting: " + std::to_string(fault.depth) + " levels");
            break;
        }
        case FaultMode::CloseEarly:
        case FaultMode::ResetEarly:
            CutShort(fault, stage);
            break;
        case FaultMode::Drip:
            Drip(fault, stage);
            break;
        case FaultMode::Huge:
            StreamHuge(fault, stage);
            break;
        case FaultMode::InvalidHttp:
            stage.record(0, kInvalidHttpBytes, Noted("fault invalid-http"));
            stage.connection.Send(kInvalidHttpBytes);
            break;
    }
}

}  // namespace fdrsim
