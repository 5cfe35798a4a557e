#pragma once

#include "inform.h"
#include "transfers.h"

// What the session asks of the device itself: identity and server settings, events, reboot, reset, schedule,
// and the transfer that ended. Texts that are returned are heap copies, freed by the caller with free.

/// The server's URL, as the backend has it. Prints "Using default URL... " when it has none; there is no
/// default.
///
/// @return null or "" when the backend has none
char *getACSURL();

/// Credentials for the server, as the backend has them.
///
/// @param status  when not null, receives 0 in every case
/// @return null when the backend has none, or an empty one
char *sendNGetUsername(int *status = nullptr);
char *sendNGetPassword(int *status = nullptr);
/// The file of trusted certificates; as the credentials.
char *sendNGetCAFilePath(int *status = nullptr);

/// The device's identity (TR-069 section A.3.3.1, DeviceIdStruct): the backend's value, or a default where it
/// has none or an empty one, and for the serial number also in place of "N/A" and "none".
///
/// @return null only when memory runs out
char *getManufacturer();
char *getOUI();
char *getProductClass();
char *getSerialNumber();

/// Draws the number that the next request of the device carries as its ID: decimal, not negative. Two draws
/// within one second are equal.
///
/// @return null when memory runs out
char *getNewSessionId();

/// Reboots the device.
///
/// @param commandKey  comes back in the event of the reboot; null counts as ""
/// @return 0 when the backend accepted; its fault code; 9002; or the bus's own error
int sendRebootSignal(const char *commandKey);
int SendXMLReboot(const char *commandKey);

/// Resets the device to its factory state.
///
/// @return as sendRebootSignal
int factoryResetSignal();
int SendXMLFactoryReset();

/// Asks for a session later.
///
/// @param delaySeconds  decimal; null and text without a number count as 0
/// @param commandKey    comes back in the event; null counts as ""
/// @return as sendRebootSignal
int SendScheduleDelay(const char *delaySeconds, const char *commandKey);
int SendXMLScheduleDelay(const char *delaySeconds, const char *commandKey);

/// The pending events, in the backend's order.
///
/// @param events  receives the list, freed by the caller with freeEventList; null on failure and when nothing
/// is pending
/// @return 0; 9002 when memory runs out or an item is cut short; or the bus's own error
int SendXMLInformEvent(InformEvent **events);

/// Tells one side of the backend that its events were delivered. There is no reply.
///
/// @param messageClass  1035 with operation 46, the device; 1028 with operation 19, the parameters
/// @return 0, 9002 when there is no message, or the bus's own error
int SendClearEvents_Cmd(int messageClass, int operation);

/// The transfer that ended and was not yet reported.
///
/// @return a record with its fault part, freed by the caller with freeTCDS; its texts are null when the
/// backend could not be asked. Null when memory runs out
TransferCompleteRecord *getTCDS();

/// Fills a record of getTCDS.
///
/// @param record  all zero, with its fault part; left so on failure
/// @return 0, 9002 when memory runs out, or the bus's own error
int SendXMLTransferComplete(TransferCompleteRecord *record);
