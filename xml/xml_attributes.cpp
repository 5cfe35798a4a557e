#include "xml_attributes.h"

#include <cstdlib>

#include "attribute_walk.h"
#include "xml_node_list.h"

static size_t countAttributes(XMLNode *node)
{
    AttributeWalk walk;
    if (!openAttributeWalk(&walk, node))
        return 0;
    XMLAttribute attribute;
    size_t count = 0;
    while (readNextAttribute(&walk, &attribute))
        ++count;
    return count;
}

// Fills a block from its end, which puts the last attribute at the head.
static void fillBackwards(XMLAttribute *block, size_t count, XMLNode *node)
{
    AttributeWalk walk;
    if (!openAttributeWalk(&walk, node))
        return;
    XMLAttribute *head = nullptr;
    XMLAttribute attribute;
    for (size_t left = count; readNextAttribute(&walk, &attribute) && left > 0; --left) {
        block[left - 1] = attribute;
        block[left - 1].next = head;
        head = &block[left - 1];
    }
}

XMLAttribute *ILibGetXMLAttributes(XMLNode *node)
{
    const size_t count = countAttributes(node);
    if (count == 0)
        return nullptr;
    XMLAttribute *block = static_cast<XMLAttribute *>(malloc(count * sizeof *block));
    if (block != nullptr)
        fillBackwards(block, count, node);
    return block;
}

void ILibDestructXMLAttributeList(XMLAttribute *attribute)
{
    // The list is one block, and its head the block's first record.
    free(attribute);
}
