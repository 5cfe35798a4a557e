#include "transfers.h"

#include "log.h"

#include <filesystem>
#include <fstream>

static constexpr const char *kUploadFlag = "/var/tmp/uploadErrFlag"; // the executable's word on an upload

static constexpr int kFaultDownload = 9010;
static constexpr int kFaultUpload = 9011;
static constexpr int kFaultUploadCredentials = 9012;

static bool isImage(const TransferRow &transfer)
{
    return !transfer.isUpload && transfer.fileType.front() == '1';
}

/// The local file, by a bare name: the executable tells an image from other files by words in the path that
/// it is given, and a target name from the server could lead out of the folder.
static std::string fileOf(const TransferRow &transfer)
{
    if (transfer.isUpload)
        return transfer.fileType.front() == '1' ? "settings.txt" : "log.txt";
    return isImage(transfer) ? "image.img" : "settings.config";
}

static void writeUpload(const Gateway &gateway, const TransferRow &transfer, const std::string &path)
{
    std::ofstream file(path, std::ios::binary);
    if (transfer.fileType.front() == '1') {
        for (const auto &[name, node] : gateway.tree)
            if (!isObjectName(name) && node.writable != kReadOnly)
                file << name << '=' << node.value << '\n';
    } else {
        file << committedValue(gateway, std::string(kRootPath) + "DeviceInfo.DeviceLog") << '\n';
    }
    if (!file.flush())
        throw std::runtime_error("cannot write " + path);
}

Command prepareTransfer(const Workplace &workplace, const Gateway &gateway, const TransferRow &transfer)
{
    const std::string file = fileOf(transfer);
    const std::filesystem::path path = std::filesystem::path(workplace.folder) / file;
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
    std::filesystem::remove(kUploadFlag, ignored);
    Command command{{workplace.executable, "-comline"}, workplace.folder, workplace.folder + "/output"};
    if (transfer.isUpload) {
        writeUpload(gateway, transfer, path.string());
        command.words.insert(command.words.end(), {"-put", file, "-dest", transfer.url});
    } else {
        command.words.insert(command.words.end(), {"-get", transfer.url, "-o", file});
    }
    if (!transfer.username.empty())
        command.words.insert(command.words.end(), {"-x", transfer.username});
    if (!transfer.username.empty() || !transfer.password.empty())
        command.words.insert(command.words.end(), {"-y", transfer.password});
    return command;
}

int judgeTransfer(const TransferRow &transfer, int status)
{
    if (isSuccess(status))
        return 0;
    if (!transfer.isUpload)
        return kFaultDownload;
    std::string word;
    std::ifstream(kUploadFlag) >> word;
    return word == "401" ? kFaultUploadCredentials : kFaultUpload;
}

void finishTransfer(Gateway &gateway, const TransferRow &transfer, const TransferResult &result)
{
    const std::string code = std::to_string(result.faultCode);
    Transaction transaction(gateway.store);
    eraseTransfer(gateway.store, transfer.id);
    addTransferComplete(gateway.store, {0, transfer.commandKey, code, result.startTime, result.completeTime});
    addEvent(gateway.store, "7 TRANSFER COMPLETE", "");
    addEvent(gateway.store, transfer.isUpload ? "M Upload" : "M Download", transfer.commandKey);
    transaction.end();
    writeLog((transfer.isUpload ? "upload, key \"" : "download, key \"") + transfer.commandKey +
             "\": " + (result.faultCode == 0 ? "done" : "fault " + code));
    if (isImage(transfer))
        reboot(gateway, "");
}
