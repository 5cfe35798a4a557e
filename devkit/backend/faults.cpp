#include "faults.h"

const char *describeFault(int code)
{
    switch (code) {
    case kFaultInvalidName:
        return "Invalid parameter name";
    case kFaultInvalidType:
        return "Invalid parameter type";
    case kFaultInvalidValue:
        return "Invalid parameter value";
    case kFaultNotWritable:
        return "Attempt to set non writable Parameter";
    default:
        return "Internal Error";
    }
}
