#pragma once

/// A stack of pointers is a pointer to its top cell, null when empty. The pointers put on it are borrowed.
struct TagStack {
    void *data;
    TagStack *next; ///< the cell below
};

/// Makes the stack empty without looking at what it was: for a variable without a value yet.
void ILibStackCreate(TagStack **stack);

/// Puts data on top.
///
/// @return 0; -1 when memory runs out, and then the stack has not changed
int ILibStackPush(TagStack **stack, void *data);

/// Takes the top off and returns it; null when the stack is empty.
void *ILibStackPop(TagStack **stack);

/// The top, left where it is; null when the stack is empty.
void *ILibStackPeek(TagStack *const *stack);

/// Takes everything off.
void ILibStackClear(TagStack **stack);
