#pragma once

#include "bus_message.h"
#include "gateway.h"

#include <optional>
#include <string>
#include <string_view>

// The operations that the bus asks for. Each takes its request's body apart, acts on the gateway, and writes
// the body of its reply; it throws Refusal or BadInput and then has changed nothing.

struct Exchange {
    BodyReader request;
    std::string reply; ///< the body, result word included
    std::string note;  ///< what was done, for the log
};

/// Serves one message of at least a header's length. Returns the reply, or nothing when none is due. Nothing
/// that stands in the message makes it throw; each message is one line in the log.
std::optional<std::string> serveMessage(Gateway &gateway, std::string_view message);

// The parameter tree (parameter_operations.cpp). A path that ends with "." stands for everything below it; ""
// and the root's name without its "." stand for the whole tree.

void getValues(Gateway &gateway, Exchange &exchange);
void setValues(Gateway &gateway, Exchange &exchange);
void getNames(Gateway &gateway, Exchange &exchange);
void getAttributes(Gateway &gateway, Exchange &exchange);
void setAttributes(Gateway &gateway, Exchange &exchange);
void getChangedValues(Gateway &gateway, Exchange &exchange);
void clearChanges(Gateway &gateway, Exchange &exchange);
void commit(Gateway &gateway, Exchange &exchange);
void setParameterKey(Gateway &gateway, Exchange &exchange);

// Objects that come and go (object_operations.cpp).

void addObject(Gateway &gateway, Exchange &exchange);
void deleteObject(Gateway &gateway, Exchange &exchange);

// The device (device_operations.cpp).

void getEvents(Gateway &gateway, Exchange &exchange);
void clearEvents(Gateway &gateway, Exchange &exchange);
void orderDownload(Gateway &gateway, Exchange &exchange);
void orderUpload(Gateway &gateway, Exchange &exchange);
void orderReboot(Gateway &gateway, Exchange &exchange);
void orderFactoryReset(Gateway &gateway, Exchange &exchange);
void scheduleSession(Gateway &gateway, Exchange &exchange);
void getTransferComplete(Gateway &gateway, Exchange &exchange);
