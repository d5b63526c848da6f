// Fuzz target of the project file's XML reader: the input is the text of a file,
// read through readString, readXMLFile and the earlier recursive parse.
#include <string>

#include "FuzzSupport.h"
#include "XMLnode.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string& dir = fuzzSetUp();
    std::string text((const char*)data, size);

    XMLnode* root = new XMLnode();
    try {
        readString(root, text, 0, (int)text.size());
    } catch (const FuzzExit&) {
    }
    deleteTree(root);

    std::string path = dir + "/input.xml";
    fuzzWriteFile(path, data, size);
    try {
        XMLnode* fileRoot = readXMLFile(path);
        // A tree that was read must write back; the written file must read again.
        std::string copy = dir + "/copy.xml";
        if (writeXMLFile(copy, fileRoot)) deleteTree(readXMLFile(copy));
        deleteTree(fileRoot);
    } catch (const FuzzExit&) {
    }

    XMLnode* node = new XMLnode();
    try {
        parse(node, text, 0, (int)text.size());
    } catch (const FuzzExit&) {
    }
    deleteTree(node);
    fuzzCloseNewFds();
    return 0;
}
