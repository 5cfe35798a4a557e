#include "xml_node_list.h"

#include <cstring>

#include "slab.h"

// The open elements need no stack of their own: each one's parent is the element it was opened in.

static bool haveSameName(const XMLNode *a, const XMLNode *b)
{
    return a->nameLength == b->nameLength &&
           memcmp(a->name, b->name, static_cast<size_t>(a->nameLength)) == 0;
}

// Links an end record with the element it ends; 0, -1 or -2 as ILibProcessXMLNodeList returns them.
static int closeElement(XMLNode **open, XMLNode *end)
{
    XMLNode *start = *open;
    if (start == nullptr)
        return -1;
    *open = start->parent;
    if (!haveSameName(start, end))
        return -2;
    if (end->next != nullptr && end->next->isStartTag != 0)
        start->peer = end->next;
    start->closingTag = end;
    end->startingTag = start;
    return 0;
}

int ILibProcessXMLNodeList(XMLNode *first)
{
    XMLNode *open = nullptr;
    int result = 0;
    for (XMLNode *record = first; record != nullptr && result == 0; record = record->next) {
        if (record->name[0] == '!') {
            // What was in the open element so far leaves the chain together with the comment.
            if (open != nullptr)
                open->next = record->next;
        } else if (record->isStartTag != 0) {
            record->parent = open;
            open = record;
        } else {
            result = closeElement(&open, record);
        }
    }
    return open == nullptr ? result : -3;
}

void ILibDestructXMLNodeList(XMLNode *first)
{
    if (first != nullptr)
        freeSlabMemory(first->memory);
}
