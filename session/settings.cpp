#include "settings.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "inform_parameters.h"
#include "text.h"

int iRunMode = 0;
const char *gAcsUrlOverride = nullptr;
int gRetryCountOverride = 0;
char *gAcsUsername = nullptr;
char *gAcsPassword = nullptr;
char *gStartDelay = nullptr;
int gVerbose = 0;

int transferCompletePending = 0;
int sendEmptyPost = 0;
int informRetries = 0;
int gRebootDone = 0;

static const char *valueOf(const char *argument)
{
    return argument == nullptr ? "" : argument;
}

static void keepCopy(char *&setting, const char *argument)
{
    free(setting);
    setting = getMsg(valueOf(argument));
}

static void keepUrl(char *argument)
{
    static char missing[] = "";
    char *url = argument == nullptr ? missing : argument;
    if (char *blank = strchr(url, ' '))
        *blank = '\0';
    gAcsUrlOverride = url;
}

static bool isOption(const char *argument, const char *name)
{
    return safeStrcmp(argument, name) == 0;
}

// The options of which one round takes the first that matches. Returns how many further arguments were used.
static int takeChainedOption(char **argument, const char *programName)
{
    if (isOption(*argument, "-e"))
        cl_xternal_ip = valueOf(argument[1]);
    else if (isOption(*argument, "-x"))
        keepCopy(gAcsUsername, argument[1]);
    else if (isOption(*argument, "-y"))
        keepCopy(gAcsPassword, argument[1]);
    else if (isOption(*argument, "-r"))
        keepCopy(gStartDelay, argument[1]);
    else {
        if (isOption(*argument, "-v"))
            gVerbose = 1;
        else if (isOption(*argument, "-h") || isOption(*argument, "--help"))
            printUsage(programName);
        return 0;
    }
    return 1;
}

int parseOptions(int argc, char **argv)
{
    // Each test looks at the argument where the one before it left off, so a value can act as an option; and
    // since only a non-null argument matches, the index never passes the null at argv[argc].
    for (int i = 1; i < argc; ++i) {
        if (isOption(argv[i], "-u"))
            keepUrl(argv[++i]);
        if (isOption(argv[i], "-c"))
            cl_conreq_url = valueOf(argv[++i]);
        if (isOption(argv[i], "-n"))
            gRetryCountOverride = textToInt(argv[++i]);
        i += takeChainedOption(&argv[i], argv[0]);
    }
    return 0;
}

void freeOptionTexts()
{
    for (char **text : {&gAcsUsername, &gAcsPassword, &gStartDelay}) {
        free(*text);
        *text = nullptr;
    }
}

void printUsage(const char *programName)
{
    printf("\nUsage: %s [options]\n", programName == nullptr ? "(null)" : programName);
    puts("\noptions:");
    puts("--help : Print this help message");
    puts("-u http://URL:PortNumber/TargetURL/");
    printf("[-x username -y password]");
    printf("[-q quite]");
}
