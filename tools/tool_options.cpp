#include "tool_options.h"
#include "text.h"

static constexpr int kLeastArguments = 5;
static constexpr int kFirstOption = 2;

static const ToolOption *findOption(const char *argument, const ToolOption *table, size_t count)
{
    for (size_t i = 0; i < count; ++i)
        if (safeStrcmp(argument, table[i].name) == 0)
            return &table[i];
    return nullptr;
}

bool readToolOptions(int argc, char **argv, const ToolOption *table, size_t count, ToolOptions *options)
{
    *options = {};
    if (argc < kLeastArguments)
        return false;
    for (int i = kFirstOption; i < argc; ++i) {
        const ToolOption *option = findOption(argv[i], table, count);
        if (option == nullptr)
            continue;
        ++i;
        options->*option->value = i < argc ? argv[i] : nullptr;
        if (option->mode != TransferMode::none)
            options->mode = option->mode;
    }
    return options->mode != TransferMode::none && options->url != nullptr && options->file != nullptr;
}
