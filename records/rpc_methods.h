#pragma once

/// The RPC methods that the device offers, in the order in which GetRPCMethods lists them.
constexpr int kRpcMethodCount = 13;
extern const char *const kRpcMethods[kRpcMethodCount];

/// What kind of message a SOAP body carries.
constexpr int kMessageNone = 0;
constexpr int kMessageRequest = 1;
constexpr int kMessageResponse = 2;
constexpr int kMessageFault = 3;
