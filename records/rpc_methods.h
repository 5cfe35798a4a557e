#pragma once

/// The RPC methods that the device offers, in the order in which GetRPCMethods lists them.
constexpr int kRpcMethodCount = 13;
inline constexpr const char *kRpcMethods[kRpcMethodCount] = {
    "GetRPCMethods",
    "SetParameterValues",
    "GetParameterValues",
    "GetParameterNames",
    "SetParameterAttributes",
    "GetParameterAttributes",
    "AddObject",
    "DeleteObject",
    "Reboot",
    "Download",
    "Upload",
    "FactoryReset",
    "ScheduleInform",
};

/// What kind of message a SOAP body carries.
constexpr int kMessageNone = 0;
constexpr int kMessageRequest = 1;
constexpr int kMessageResponse = 2;
constexpr int kMessageFault = 3;
