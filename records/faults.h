#pragma once

#include <cstdint>

/// CWMP fault codes of TR-069 (section A.5) that the code itself names.
constexpr int kFaultInternalError = 9002;
constexpr int kFaultInvalidArguments = 9003;
constexpr int kFaultInvalidParameterValue = 9007;
constexpr int kFaultNotificationRejected = 9009;
/// Codes that come from the server.
constexpr int kFaultInformRefused = 8001;
constexpr int kFaultRetryRequest = 8005;

/// One refused parameter of a SetParameterValues.
struct SetParamFaultStr {
    int32_t faultCode;
    char *faultStr;      ///< owned; may be null
    char *parameterName; ///< owned; may be null
    SetParamFaultStr *next;
};

/// The backend's name for the same record.
using ParameterFaultRecord = SetParamFaultStr;

/// The CWMP detail of a fault.
struct FaultDetailStr {
    int32_t faultCode; ///< the CWMP code; any number when it came from the server or the backend
    char *faultStr;    ///< owned; may be null
    SetParamFaultStr *parameterFaults; ///< owned list; null when there are none
};

/// A SOAP fault, read from the server or built to be sent.
struct FaultStr {
    char *faultCode;              ///< the SOAP faultcode, e.g. "Client"; owned
    char *faultStr;               ///< the SOAP faultstring; owned
    FaultDetailStr *faultDetDesc; ///< owned; null when the fault has no detail
};

/// Frees a list of parameter faults along next. Accepts null.
void freeSetParamFaultStructure(SetParamFaultStr *list);

/// Frees a fault with its detail and the detail's parameter faults. Accepts null.
void freeFaultStructure(FaultStr *fault);

/// The string of a CWMP fault code, in a heap copy (getMsg) that the caller frees with free.
///
/// @return null for a code outside 9000 to 9016, or when memory runs out; "" for 9016
char *getFaultString(int code);
