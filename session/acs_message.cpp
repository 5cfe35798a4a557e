#include "acs_message.h"

#include <cstdio>

#include "SOAPParser.h"
#include "owned.h"
#include "print_to_syslog.h"

static XMLNode *refuse(const char *reason)
{
    printToSyslog("LOG_ERR", "TR069Module", "validateSoapRespMessage", reason);
    return nullptr;
}

XMLNode *validateSoapRespMessage(char *body, int length, int *envelopeCount)
{
    *envelopeCount = 0;
    Owned<XMLNode, ILibDestructXMLNodeList> tree(parseSOAPMessage(body, length));
    if (tree == nullptr)
        return refuse("Error occured while parsing the SOAP response from ACS");
    if (validateSOAPMessage(tree.get(), 1) != 0)
        return refuse("Error occured while validating soap message");
    *envelopeCount = getNoOfEnvelopes(tree.get());
    if (*envelopeCount == 0)
        return refuse("No of Envelopes is 0");
    return tree.release();
}

int reportServerFault(const FaultStr *fault)
{
    if (fault == nullptr || fault->faultDetDesc == nullptr || fault->faultDetDesc->faultCode <= 0)
        return 0;
    const FaultDetailStr &detail = *fault->faultDetDesc;
    printf("Fault String Inform message = %s\n", detail.faultStr == nullptr ? "(null)" : detail.faultStr);
    return detail.faultCode;
}
