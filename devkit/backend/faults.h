#pragma once

#include <stdexcept>
#include <string>
#include <vector>

// Refusals: the fault codes of TR-069 (table of CPE fault codes) that this gateway answers with.

constexpr int kFaultMethodNotSupported = 9000;
constexpr int kFaultRequestDenied = 9001;
constexpr int kFaultInternalError = 9002;
constexpr int kFaultInvalidArguments = 9003;
constexpr int kFaultResourceExceeded = 9004;
constexpr int kFaultInvalidName = 9005;
constexpr int kFaultInvalidType = 9006;
constexpr int kFaultInvalidValue = 9007;
constexpr int kFaultNotWritable = 9008;
constexpr int kFaultUnsupportedProtocol = 9013;

/// One parameter that cannot be set as asked.
struct ParameterFault {
    std::string name;
    int code;
};

/// A request that is not carried out: the code goes into the reply, what() into the log.
struct Refusal : std::runtime_error {
    Refusal(int faultCode, const std::string &reason, std::vector<ParameterFault> faults = {})
        : std::runtime_error(reason), code(faultCode), parameters(std::move(faults))
    {
    }
    int code;
    std::vector<ParameterFault> parameters; ///< of a set-values request: each one that is at fault
};

/// A message that is not laid out as its operation asks for; refused with 9003 where a reply is due.
struct BadInput : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The words that go with a parameter's code.
const char *describeFault(int code);
