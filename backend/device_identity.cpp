#include "device_requests.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "owned.h"
#include "parameter_requests.h"
#include "text.h"

static int sessionNumber = 0;

char *getACSURL()
{
    char *url = getParamValue_Single("InternetGatewayDevice.ManagementServer.URL");
    if (safeStrlen(url) == 0)
        printf("Using default URL... ");
    return url;
}

// The value; null when there is none or an empty one.
static char *readSetting(const char *name, int *status)
{
    if (status != nullptr)
        *status = 0;
    OwnedText value(getParamValue_Single(name));
    return safeStrlen(value.get()) == 0 ? nullptr : value.release();
}

char *sendNGetUsername(int *status)
{
    return readSetting("InternetGatewayDevice.ManagementServer.Username", status);
}

char *sendNGetPassword(int *status)
{
    return readSetting("InternetGatewayDevice.ManagementServer.Password", status);
}

char *sendNGetCAFilePath(int *status)
{
    return readSetting("InternetGatewayDevice.ManagementServer.X_QXNV-COM_CAFilePath", status);
}

static char *readIdentity(const char *name, const char *whenMissing)
{
    char *value = readSetting(name, nullptr);
    return value != nullptr ? value : getMsg(whenMissing);
}

char *getManufacturer()
{
    return readIdentity("InternetGatewayDevice.DeviceInfo.Manufacturer", "Kestrow");
}

char *getOUI()
{
    return readIdentity("InternetGatewayDevice.DeviceInfo.ManufacturerOUI", "00D3A9");
}

char *getProductClass()
{
    return readIdentity("InternetGatewayDevice.DeviceInfo.ProductClass", "IGD");
}

char *getSerialNumber()
{
    constexpr char kUnknownSerialNumber[] = "11111111";
    OwnedText number(readIdentity("InternetGatewayDevice.DeviceInfo.SerialNumber", kUnknownSerialNumber));
    if (safeStrcmp(number.get(), "N/A") == 0 || safeStrcmp(number.get(), "none") == 0)
        return getMsg(kUnknownSerialNumber);
    return number.release();
}

char *getNewSessionId()
{
    srand(static_cast<unsigned int>(time(nullptr)));
    sessionNumber = rand();
    return intToStr(sessionNumber);
}
