#include "operations.h"

#include "log.h"

#include <cstdio>

/// What a refused request is answered with.
enum class RefusalShape {
    none,          ///< no reply is due
    result,        ///< the code, and zeroes where a good reply has its numbers
    faults,        ///< the code, an unused word, and the parameters at fault
    transfer,      ///< the code twice: as the result, which is neither 0 nor 1, and where the code is read
    noEvents,      ///< a count of 0
    emptyTransfer, ///< the texts of nothing pending
};

struct Operation {
    const char *name;
    void (*serve)(Gateway &, Exchange &);
    uint16_t code;
    uint16_t messageClass;
    RefusalShape refusal;
};

static constexpr Operation kOperations[] = {
    {"get values", getValues, 10, kParameterClass, RefusalShape::result},
    {"set values", setValues, 11, kParameterClass, RefusalShape::faults},
    {"add object", addObject, 12, kParameterClass, RefusalShape::result},
    {"delete object", deleteObject, 13, kParameterClass, RefusalShape::result},
    {"get names", getNames, 14, kParameterClass, RefusalShape::result},
    {"get attributes", getAttributes, 15, kParameterClass, RefusalShape::result},
    {"set attributes", setAttributes, 16, kParameterClass, RefusalShape::result},
    {"get changed values", getChangedValues, 18, kParameterClass, RefusalShape::result},
    {"clear changes", clearChanges, 19, kParameterClass, RefusalShape::none},
    {"commit", commit, 23, kParameterClass, RefusalShape::none},
    {"parameter key", setParameterKey, 44, kDeviceClass, RefusalShape::none},
    {"get events", getEvents, 45, kDeviceClass, RefusalShape::noEvents},
    {"clear events", clearEvents, 46, kDeviceClass, RefusalShape::none},
    {"download", orderDownload, 47, kDeviceClass, RefusalShape::transfer},
    {"upload", orderUpload, 48, kDeviceClass, RefusalShape::transfer},
    {"reboot", orderReboot, 49, kDeviceClass, RefusalShape::result},
    {"factory reset", orderFactoryReset, 50, kDeviceClass, RefusalShape::result},
    {"schedule", scheduleSession, 51, kDeviceClass, RefusalShape::result},
    {"transfer complete", getTransferComplete, 52, kDeviceClass, RefusalShape::emptyTransfer},
};

static void refuseUnknown(Gateway &, Exchange &)
{
    throw Refusal(kFaultMethodNotSupported, "no such operation");
}

static constexpr Operation kUnknown = {"unknown", refuseUnknown, 0, 0, RefusalShape::transfer};

static const Operation &findOperation(uint16_t code)
{
    for (const Operation &operation : kOperations)
        if (operation.code == code)
            return operation;
    return kUnknown;
}

static void appendFaults(std::string &body, const std::vector<ParameterFault> &faults)
{
    appendU32(body, static_cast<uint32_t>(faults.size()));
    for (const ParameterFault &fault : faults)
        appendText(body, fault.name + '=' + std::to_string(fault.code) + ' ' + describeFault(fault.code));
}

static std::string makeRefusal(RefusalShape shape, int code, const std::vector<ParameterFault> &faults)
{
    std::string body;
    const uint32_t result = static_cast<uint32_t>(code);
    switch (shape) {
    case RefusalShape::none:
        break;
    case RefusalShape::result:
        for (const uint32_t word : {result, 0U, 0U})
            appendU32(body, word);
        break;
    case RefusalShape::faults:
        appendU32(body, result);
        appendU32(body, 0);
        appendFaults(body, faults);
        break;
    case RefusalShape::transfer:
        appendU32(body, result);
        appendU32(body, result);
        break;
    case RefusalShape::noEvents:
        appendU16(body, 0);
        break;
    case RefusalShape::emptyTransfer:
        for (const char *text : {"", "0", "", ""})
            appendText(body, text);
        break;
    }
    return body;
}

static std::string describeRequest(const MessageHeader &header, const Operation &operation)
{
    char text[96];
    snprintf(text, sizeof text, "op %u %s, seq 0x%08X: ", static_cast<unsigned>(header.operation),
             operation.name, header.sequence);
    std::string line = text;
    if (header.messageClass != operation.messageClass && operation.messageClass != 0)
        line += "class " + std::to_string(header.messageClass) + " instead of " +
                std::to_string(operation.messageClass) + ", ";
    return line;
}

static void refuse(Exchange &exchange, const Operation &operation, const char *kind, const Refusal &refusal)
{
    exchange.reply = makeRefusal(operation.refusal, refusal.code, refusal.parameters);
    exchange.note =
        std::string(kind) + "refused with " + std::to_string(refusal.code) + ": " + refusal.what();
    for (const ParameterFault &fault : refusal.parameters)
        exchange.note += ", " + fault.name + ' ' + std::to_string(fault.code);
}

static void serveOperation(Gateway &gateway, const Operation &operation, Exchange &exchange)
{
    try {
        operation.serve(gateway, exchange);
        if (!exchange.request.rest.empty())
            exchange.note += ", " + std::to_string(exchange.request.rest.size()) + " bytes left over";
        if (exchange.reply.size() > kMaximumMessage - kHeaderLength)
            throw Refusal(kFaultResourceExceeded, "the answer is too long for the bus");
    } catch (const Refusal &refusal) {
        refuse(exchange, operation, "", refusal);
    } catch (const BadInput &bad) {
        refuse(exchange, operation, "bad input, ", Refusal(kFaultInvalidArguments, bad.what()));
    } catch (const std::exception &error) {
        discardStaged(gateway);
        refuse(exchange, operation, "", Refusal(kFaultInternalError, error.what()));
    }
}

std::optional<std::string> serveMessage(Gateway &gateway, std::string_view message)
{
    const MessageHeader header = readHeader(message);
    const Operation &operation = findOperation(header.operation);
    Exchange exchange{{message.substr(kHeaderLength)}, {}, {}};
    serveOperation(gateway, operation, exchange);
    writeLog(describeRequest(header, operation) + exchange.note);
    if (operation.refusal == RefusalShape::none)
        return std::nullopt;
    return makeMessage(header, exchange.reply);
}
