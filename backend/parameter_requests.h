#pragma once

#include "faults.h"
#include "parameters.h"

// The parameter RPCs, as requests to the configuration backend.
//
// The ..._Request wrappers are what the RPC handlers call. Each clears its outputs first, then runs its
// SendXML... function. The fault that a wrapper gives is 0 when the backend did it; else the backend's fault
// code; else, when the backend gave none, the code of what failed: 9002 when memory ran out or a reply could
// not be read (-1 for names), 9009 for a notification that may not be changed, or the bus's own error, which
// may be any number but 0.
//
// Strings that come from the RPCs may be null and then count as "".

// Values.

/// Which values SendXMLGetParameterValue asks for.
constexpr int kReadValues = 0;
constexpr int kReadChangedValues = 1;
constexpr int kReadNothing = 2;

/// The values of the named parameters; a name that ends in "." stands for everything below it.
///
/// @param names  count texts, borrowed; may be null when count is 0
/// @param fault  receives the fault, or 0
/// @return the values in the backend's order, freed by the caller with freeParamValueStr; null on a fault and
/// when there are none
ParameterValueRecord *getParamValue_Request(const char *const *names, int count, int *fault);

/// The value of one parameter.
///
/// @param name  full name
/// @return a copy, escaped for XML, freed by the caller with free; null when the backend gave no record, when
/// it could not be asked, and when memory runs out
char *getParamValue_Single(const char *name);

/// As getParamValue_Request.
///
/// @param mode    kReadValues; kReadChangedValues, whose answer lists the parameters that changed;
/// kReadNothing sends nothing and gives an empty list
/// @param values  receives the list, freed by the caller with freeParamValueStr; null on failure
/// @param fault   receives the backend's fault code, 0 when it gave none
/// @return 0, the fault code, 9002, or the bus's own error
int SendXMLGetParameterValue(const char *const *names, int count, int mode, ParameterValueRecord **values,
                             int *fault);

/// Sets all values of the request, or none.
///
/// @param fault       receives the fault, or 0
/// @param status      receives TR-069's Status: 0 applied, 1 to be applied by a reboot
/// @param rebootFlag  set to 1 when the values were taken and Status is not 0; never cleared
/// @return the refused parameters, freed by the caller with freeSetParamFaultStructure; null when none is
/// named
ParameterFaultRecord *setParamValue_Request(const SetParamValStr *request, int *fault, int *status,
                                            int *rebootFlag);

/// As setParamValue_Request. Sends the values, a commit, even after a refusal, and the ParameterKey, only
/// when nothing was refused.
///
/// @param faults  receives the refused parameters
/// @param fault   receives the backend's fault code, 9007 when it marked a parameter so, 0 when it gave none
/// @return 0, also for a refusal; 9002 when memory ran out; or the bus's own error for the values or the
/// commit
int SendXMLSetParameterValue(const SetParamValStr *request, ParameterFaultRecord **faults, int *fault,
                             int *status, int *rebootFlag);

// Names and attributes.

/// The names below a path.
///
/// @param path       partial or full name; "" is the root of the tree
/// @param nextLevel  above 0: only the next level; else everything
/// @param fault      receives the fault, or 0
/// @return freed by the caller with freeParamNameRecords; null on a fault and when there are none
ParameterNameRecord *getParamNames_Request(const char *path, int nextLevel, int *fault);

/// As getParamNames_Request.
///
/// @param fault  receives the backend's fault code, 0 when it gave none
/// @return 0; -1 for a refusal, and when a string of the reply does not say whether it is writable; 9002; or
/// the bus's own error
int SendXMLGetParameterNames(const char *path, int nextLevel, ParameterNameRecord **names, int *fault);

/// The attributes of the named parameters.
///
/// @param fault  receives the fault, or 0
/// @return freed by the caller with freeParamAttrRecords; null on a fault and when there are none
ParameterAttributeRecord *getParamAttr_Request(const char *const *names, int count, int *fault);

/// As getParamAttr_Request.
///
/// @param fault  receives the backend's fault code, 0 when it gave none
/// @return 0; the whole result word of a refusal; 9002 when memory ran out or a string of the reply lacks an
/// item; or the bus's own error
int SendXMLGetParameterAttributes(const char *const *names, int count, ParameterAttributeRecord **attributes,
                                  int *fault);

/// Changes attributes. An entry whose two change flags are 0 is left out; nothing is sent when none is left.
///
/// @return 0; 9009 when an entry asks for notification on a parameter that keeps its own, and then nothing
/// was sent; the backend's fault code; 9002; or the bus's own error
int setParamAttr_Request(const ParamAttrEntry *list);

/// The request itself, as setParamAttr_Request.
int SendXMLSetParameterAttributes(const ParamAttrEntry *list);

// Objects.

/// Adds or deletes an object.
///
/// @param method      "DeleteObject" or a beginning of it deletes; any other name adds
/// @param instance    receives the new instance number; 0 when there is none
/// @param status      receives TR-069's Status; 1 when the reply was lost
/// @param rebootFlag  set to 1 when the backend answered with a Status that is not 0; never cleared
/// @return the fault, or 0, also when the reply was lost
int addDelObject_Request(const AddDelObjStr *request, int *instance, const char *method, int *status,
                         int *rebootFlag);

/// The request itself, as addDelObject_Request. When it was done, sends the ParameterKey, then a commit;
/// what fails first gives the code, and nothing follows it.
int SendXMLAddDelObject(const AddDelObjStr *request, int *instance, const char *method, int *status,
                        int *rebootFlag);
