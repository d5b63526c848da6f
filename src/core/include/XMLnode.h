// The project file's tree: one XMLnode per element, with a reader and a writer
// for the narrow XML subset that the suite writes (names, text values, nesting).
#pragma once

#include <fstream>
#include <string>

class XMLnode {
public:
    XMLnode* firstChild = nullptr;   // null for a leaf
    XMLnode* nextSibling = nullptr;  // null at the end of the chain
    std::string name;                // element name
    std::string value;               // text content; empty when the node has children
    std::string comment;             // value of the comment attribute, or empty

    // A nameless node, or a node with the given name, value and comment.
    XMLnode();
    explicit XMLnode(std::string name);
    XMLnode(std::string name, std::string value);
    XMLnode(std::string name, std::string value, std::string comment);

    // Appends child to the end of the chain of children; the child's sibling becomes null.
    void addChild(XMLnode* child);

    // Tree links.
    XMLnode* getFirstChild() const { return firstChild; }
    XMLnode* getNextSibling() const { return nextSibling; }
    void setNextSibling(XMLnode* sibling) { nextSibling = sibling; }

    // Element name, text value and comment attribute.
    const std::string& getName() const { return name; }
    const std::string& getValue() const { return value; }
    const std::string& getComment() const { return comment; }
    void setName(std::string newName) { name = std::move(newName); }
    void setValue(std::string newValue) { value = std::move(newValue); }
    void setComment(std::string newComment) { comment = std::move(newComment); }
};

// Reads an XML file into a new nameless root whose first child is the top element.
// A file that can't be opened gives a root without children; the caller tests for it.
XMLnode* readXMLFile(std::string path);

// Writes the header line and the tree below and including root, truncating the file in
// place; false when the file could not be opened or written completely.
bool writeXMLFile(std::string path, XMLnode* root);

// Adds the elements found in text[start, end) as children of parent; malformed text ends the
// process. Returns the number of elements added directly below parent.
int readString(XMLnode* parent, const std::string& text, int start, int end);

// Writes node and its subtree at the given indentation.
void writeNode(std::ofstream* out, XMLnode* node, std::string indent);

// Deletes all descendants of node, then node itself. Safe on null.
void deleteTree(XMLnode* node);

// The earlier recursive parser: fills node from the element that begins at text[start]; the only
// reader that knows the comment attribute. Returns 0, or -1 when the element's end wasn't found.
int parse(XMLnode* node, std::string text, int start, int end);
// Text of the first complete element in text, or "" when there is none.
std::string getSubTag(std::string text);
// Position of the first '/', '>' or blank from index on (one past it for '/'), or the end.
int getNextTag(std::string text, int index);
// True unless a '/' follows the first '>' of text before another '>'.
bool noFurtherSubtags(std::string text);
