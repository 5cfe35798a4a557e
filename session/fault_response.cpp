#include "fault_response.h"

#include <cstdio>
#include <cstdlib>

#include "owned.h"
#include "print_to_syslog.h"
#include "soap_writer.h"
#include "text.h"

using ParameterFaults = Owned<SetParamFaultStr, freeSetParamFaultStructure>;

static FaultStr *refuse(const char *reason)
{
    printToSyslog("LOG_ERR", "TR069Module", "constructFaultStruct", reason);
    return nullptr;
}

FaultStr *constructFaultStruct(int faultCode, SetParamFaultStr *parameterFaults)
{
    ParameterFaults faults(parameterFaults);
    Owned<FaultStr, freeFaultStructure> fault(static_cast<FaultStr *>(calloc(1, sizeof(FaultStr))));
    if (fault == nullptr)
        return nullptr;
    fault->faultCode = getMsg("Client");
    if (fault->faultCode == nullptr)
        return refuse("Fault Code is NULL");
    fault->faultStr = getMsg("CWMP Fault");
    if (fault->faultStr == nullptr)
        return refuse("Fault String is NULL");

    fault->faultDetDesc = static_cast<FaultDetailStr *>(calloc(1, sizeof(FaultDetailStr)));
    if (fault->faultDetDesc == nullptr)
        return refuse("Error while allocating memory to detail fault Structure");
    fault->faultDetDesc->faultCode = faultCode;
    fault->faultDetDesc->faultStr = getFaultString(faultCode);
    if (fault->faultDetDesc->faultStr == nullptr) {
        printf("Fault Code = %d\n", faultCode);
        return refuse("Detail fault String is NULL. Please check the fault code");
    }
    fault->faultDetDesc->parameterFaults = faults.release();
    return fault.release();
}

char *sendFaultResponse(int faultCode, const SoapHeaderEntry *header, SetParamFaultStr *parameterFaults,
                        int *length)
{
    *length = 0;
    const Owned<FaultStr, freeFaultStructure> fault(constructFaultStruct(faultCode, parameterFaults));
    return construct_FaultResponse(fault.get(), header, length);
}
