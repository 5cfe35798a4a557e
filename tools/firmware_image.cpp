#include "firmware_image.h"
#include "platform_services.h"

#include <cstdio>
#include <ctime>
#include <unistd.h>

static constexpr char kCompleteTimePath[] =
    "InternetGatewayDevice.ManagementServer.X_QXNV-COM_DownloadCompleteTime";
static constexpr char kResultItem[] = "kvr_bit_flag";

// Stored with their terminators.
static constexpr char kImageLoaded[] = "image;0;;;;";
static constexpr char kImageFailed[] = "image;9010;;;;";

/// Room for a time in any year that an int can count.
static constexpr size_t kTimeSize = 64;

// What a shell reports for a command that could not be started.
static constexpr int kNotStarted = 127;

static void storeCompleteTime()
{
    char text[kTimeSize] = "";
    const time_t now = time(nullptr);
    const tm *utc = gmtime(&now);
    if (utc != nullptr)
        strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", utc);
    CFG_LibInit();
    CFG_SetNodeVal(kCompleteTimePath, text);
    CFG_SaveCfg();
    CFG_LibFinal();
}

static int startUpgrader()
{
    fflush(stdout);
    const pid_t child = fork();
    if (child < 0)
        return -1;
    if (child > 0)
        return 0;
    execl("/usr/bin/upgrader", "upgrader", "-c", "1", "-p", "/var/image.img", "-u", "TR069",
          static_cast<char *>(nullptr));
    _exit(kNotStarted);
}

int applyFirmwareImage(int downloadResult)
{
    storeCompleteTime();
    if (downloadResult != 0) {
        app_item_save(kImageFailed, kResultItem, sizeof kImageFailed);
        kvrSystem("reboot", 1);
        return downloadResult;
    }
    app_item_save(kImageLoaded, kResultItem, sizeof kImageLoaded);
    kvrSystem("killall pc", 0);
    return startUpgrader();
}
