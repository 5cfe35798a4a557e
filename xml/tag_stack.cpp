#include "tag_stack.h"

#include <cstdlib>

void ILibStackCreate(TagStack **stack)
{
    *stack = nullptr;
}

int ILibStackPush(TagStack **stack, void *data)
{
    TagStack *cell = static_cast<TagStack *>(malloc(sizeof(TagStack)));
    if (cell == nullptr)
        return -1;
    *cell = {data, *stack};
    *stack = cell;
    return 0;
}

void *ILibStackPop(TagStack **stack)
{
    TagStack *cell = *stack;
    if (cell == nullptr)
        return nullptr;
    void *data = cell->data;
    *stack = cell->next;
    free(cell);
    return data;
}

void *ILibStackPeek(TagStack *const *stack)
{
    return *stack == nullptr ? nullptr : (*stack)->data;
}

void ILibStackClear(TagStack **stack)
{
    while (*stack != nullptr)
        ILibStackPop(stack);
}
