#pragma once

#include "data_model.h"
#include "faults.h"
#include "store.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

// The gateway: its parameter tree in memory, its store behind it, and what the session in progress has
// changed and not committed.

struct Setting {
    std::string name;
    std::string value;
};

struct Gateway {
    DataModel model;
    Store store;
    Tree tree; ///< as the session sees it, uncommitted changes included
    std::map<std::string, std::optional<Node>>
        staged;                    ///< what the store holds for each name that was changed
    std::vector<Setting> settings; ///< this gateway's own presets, above those of the model
    int64_t reportedEvent = 0;     ///< the last event that an event query listed
    int64_t reportedChange = 0;    ///< the last change that a change query listed
    int64_t toldTransfer = 0;      ///< the finished transfer that this session reports; 0: none
    bool keepsTime = false;        ///< somebody starts a session when a ScheduleInform is due
    bool rebootOrdered = false;    ///< since it was last cleared; a factory reset is one, too
    uint64_t deliveries = 0;       ///< how often a server took the events
};

/// Opens the store; a new one is filled from the model, with a new gateway's events. The settings are written
/// whatever the parameters' access, each as a change that the gateway itself makes. Throws std::runtime_error
/// when the store fails, or a setting names no parameter or does not fit.
Gateway openGateway(DataModel model, const std::string &storePath, std::vector<Setting> settings);

/// Changes a parameter or an object (none: deletes it) for this session; the store keeps the old one until
/// commitStaged.
void stageNode(Gateway &gateway, const std::string &name, const std::optional<Node> &node);

/// Writes what is staged in one transaction, with the changes and events that arise from it.
void commitStaged(Gateway &gateway);

/// The parameter's value in the store, whatever is staged; "" when there is no such parameter.
std::string committedValue(const Gateway &gateway, const std::string &name);

/// Writes values of the gateway's own, whatever the parameters' access. They are committed at once; what a
/// session has staged stays staged. A name that is no parameter is passed over.
void writeOwnValues(Gateway &gateway, const std::vector<Setting> &values);

/// Forgets what is staged.
void discardStaged(Gateway &gateway);

/// A finished transfer that was not reported has its event.
void keepTransferEvent(Gateway &gateway);

/// A session is over: what it left uncommitted is gone, the transfer that it reported is done with, and the
/// next one that waits, if any, is due.
void endSession(Gateway &gateway);

/// The gateway starts again: "1 BOOT", and with a command key "M Reboot" before it.
void reboot(Gateway &gateway, const std::string &commandKey);

/// Back to the model and the settings, with a new gateway's events; all else is forgotten.
void resetToFactory(Gateway &gateway);

/// Turns the ScheduleInforms that are due into events.
void raiseDueSchedules(Gateway &gateway, int64_t now);
