#pragma once

#include <cstdint>

// What the parameter RPCs take and give. Lists are singly linked along next; every free function accepts
// null, frees each string, then the record, along the links.

/// A parameter's value as the backend gave it.
struct ParameterValueRecord {
    char *type; ///< XML Schema type without prefix, e.g. "string"; owned; null only where the record was made
                ///< up
    char *value; ///< escaped for XML where the backend gave it and memory allowed; owned
    char *name;  ///< full parameter name; owned
    ParameterValueRecord *next;
};
void freeParamValueStr(ParameterValueRecord *list);

/// A parameter's or object's name; an object's ends in ".".
struct ParameterNameRecord {
    char *name;       ///< owned
    int32_t writable; ///< 0 or 1
    ParameterNameRecord *next;
};
void freeParamNameRecords(ParameterNameRecord *list);

/// A parameter's attributes as the backend gave them.
struct ParameterAttributeRecord {
    char *name;              ///< owned
    int32_t notification;    ///< 0 off, 1 passive, 2 active
    int32_t accessListCount; ///< entries in accessList
    char **accessList;       ///< owned array of owned strings; null when there is none
    ParameterAttributeRecord *next;
};
void freeParamAttrRecords(ParameterAttributeRecord *list);

/// One name and value of a SetParameterValues.
struct ParamValueEntry {
    char *Name;  ///< owned
    char *Value; ///< unescaped text; owned
    char *Type;  ///< never filled by the reader; owned if set
    ParamValueEntry *next;
};

/// A SetParameterValues request.
struct SetParamValStr {
    char *ParameterKey;    ///< owned; null when the request carried none
    ParamValueEntry *list; ///< owned; in reverse document order
};
void freeSetParamValStr(SetParamValStr *request);

/// One entry of a SetParameterAttributes request.
struct ParamAttrEntry {
    char *Name; ///< owned
    int32_t NotificationChange;
    int32_t Notification;
    int32_t AccessListChange;
    int32_t AccessListCount; ///< entries in AccessList
    char **AccessList;       ///< owned array of owned strings; null when the count is 0
    ParamAttrEntry *next;
};
void freeParamAttrStruct(ParamAttrEntry *list);

/// An AddObject or DeleteObject request.
struct AddDelObjStr {
    char *ObjectName;   ///< partial path that ends in "."; owned
    char *ParameterKey; ///< owned; null when the request carried none
};
void freeAddDelObjStr(AddDelObjStr *request);

/// Frees the first count strings of an array, then the array. Accepts a null array and null strings.
void freeArray(char **array, int count);
