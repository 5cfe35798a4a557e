#include "parameter_changes.h"

#include "bus_message.h"

int sendCommit()
{
    return sendRequest(kCommit, writeNothing);
}

int sendParameterKey(const char *parameterKey)
{
    return sendRequest(kSetParameterKey, [=](BusWriter &body) { putString(body, parameterKey); });
}
