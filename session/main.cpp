#include "daemon.h"
#include "http_diagnostics_tool.h"
#include "settings.h"
#include "text.h"
#include "transfer_tool.h"

constexpr int kDaemonMode = 0;
constexpr int kTransferMode = 1;
constexpr int kDiagnosticsMode = 2;

// The first mode switch among the arguments decides.
static int chooseRunMode(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        if (safeStrcmp(argv[i], "-comline") == 0)
            return kTransferMode;
        if (safeStrcmp(argv[i], "-http_diagnostic") == 0)
            return kDiagnosticsMode;
    }
    return kDaemonMode;
}

int main(int argc, char **argv)
{
    iRunMode = chooseRunMode(argc, argv);
    if (iRunMode == kTransferMode)
        return comLine_main(argc, argv);
    if (iRunMode == kDiagnosticsMode)
        return TR143_HTTPDiagnostics_main(argc, argv);
    return tr069_daemon_main(argc, argv);
}
