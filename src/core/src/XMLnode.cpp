// Reader and writer of the project file's XML subset. The text of a file is held whole in one
// string and parsed by indices; nothing is escaped or decoded, since only this writer makes the
// files. Positions in the text are size_t internally so that npos can't wrap into a valid index.
#include "XMLnode.h"

#include <cstdio>
#include <string>

#include "Util.h"

namespace {

// Elements nested deeper than this end the read cleanly instead of exhausting the stack.
const int MAX_XML_DEPTH = 1000;

const std::string::size_type NPOS = std::string::npos;

// text.substr(pos, count) that yields "" instead of throwing when pos lies past the end.
std::string subText(const std::string& text, std::string::size_type pos,
                    std::string::size_type count = NPOS) {
    if (pos > text.length()) return std::string();
    return text.substr(pos, count);
}

int readStringAt(XMLnode* parent, const std::string& text, size_t start, size_t end, int depth);

}  // namespace

XMLnode::XMLnode() {}

XMLnode::XMLnode(std::string name) : name(std::move(name)) {}

XMLnode::XMLnode(std::string name, std::string value)
    : name(std::move(name)), value(std::move(value)) {}

XMLnode::XMLnode(std::string name, std::string value, std::string comment)
    : name(std::move(name)), value(std::move(value)), comment(std::move(comment)) {}

void XMLnode::addChild(XMLnode* child) {
    child->nextSibling = nullptr;
    if (firstChild == nullptr) {
        firstChild = child;
        return;
    }
    XMLnode* last = firstChild;
    while (last->nextSibling != nullptr) last = last->nextSibling;
    last->nextSibling = child;
}

XMLnode* readXMLFile(std::string path) {
    std::string text;
    std::ifstream in(path.c_str());
    if (in.is_open()) {
        std::string line;
        // Header and comment lines are dropped whole; other lines are joined without separators.
        while (std::getline(in, line)) {
            if (line.find("<?xml") != NPOS || line.find("<!--") != NPOS) continue;
            text += line;
        }
    }
    XMLnode* root = new XMLnode();
    readString(root, text, 0, (int)text.length());
    return root;
}

namespace {

int readStringAt(XMLnode* parent, const std::string& text, size_t start, size_t end, int depth) {
    if (end > text.length()) end = text.length();
    if (depth > MAX_XML_DEPTH) {
        die("Error:  Invalid format of XML file.\nElements nested more than %d deep.\n",
            MAX_XML_DEPTH);
        return -1;
    }
    int added = 0;
    size_t position = start;
    while (true) {
        size_t open = text.find('<', position);
        if (open == NPOS || open >= end) return added;
        size_t close = text.find('>', open);
        if (close == NPOS || close >= end) {
            die("Error:  Invalid format of XML file.\nCan't find end of start tag:  %s\n",
                subText(text, position, end - position).c_str());
            return -1;
        }
        std::string tag = text.substr(open, close - open + 1);
        bool isEmpty = tag.length() >= 2 && tag.compare(tag.length() - 2, 2, "/>") == 0;
        std::string name;
        if (isEmpty && close >= open + 2) {
            // "<name/>": the name lies between '<' and "/>"; close now ends the name.
            name = text.substr(open + 1, close - open - 2);
            close -= 2;
        } else {
            isEmpty = false;
            name = text.substr(open + 1, close - open - 1);
        }
        XMLnode* node = new XMLnode(name);
        parent->addChild(node);
        added++;

        std::string terminator = isEmpty ? std::string("/>") : "</" + name + ">";
        size_t finish = text.find(terminator, close + 1);
        if (finish == NPOS || finish >= end) {
            die("Error:  Invalid format of XML file.\nError:  Cannot find endtag %s in %s\n",
                terminator.c_str(), subText(text, close + 1, end).c_str());
            return -1;
        }
        size_t next = text.find('<', close + 1);
        if (next == finish) {
            node->setValue(text.substr(close + 1, finish - close - 1));
        } else if (readStringAt(node, text, close + 1, finish, depth + 1) < 0) {
            return -1;
        }
        position = finish + terminator.length();
    }
}

}  // namespace

int readString(XMLnode* parent, const std::string& text, int start, int end) {
    if (start < 0) start = 0;
    if (end < start) return 0;
    return readStringAt(parent, text, (size_t)start, (size_t)end, 0);
}

bool writeXMLFile(std::string path, XMLnode* root) {
    std::ofstream out(path.c_str(), std::ios::out | std::ios::trunc);
    if (!out.is_open()) return false;
    out << "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>\n";
    writeNode(&out, root, "");
    out.close();
    return !out.fail();
}

void writeNode(std::ofstream* out, XMLnode* node, std::string indent) {
    if (node == nullptr) return;
    if (!node->value.empty()) {
        *out << indent << "<" << node->name;
        if (!node->comment.empty()) *out << " comment=\"" << node->comment << "\"";
        *out << ">" << node->value << "</" << node->name << ">\n";
        return;
    }
    if (node->firstChild == nullptr) {
        *out << indent << "<" << node->name << "/>\n";
        return;
    }
    // The top element and each of its children are followed by a blank line.
    *out << indent << "<" << node->name << ">\n";
    bool top = indent.empty();
    if (top) *out << "\n";
    indent += "  ";
    for (XMLnode* child = node->firstChild; child != nullptr; child = child->nextSibling) {
        writeNode(out, child, indent);
        if (top) *out << "\n";
    }
    indent.erase(0, indent.length() < 2 ? 0 : 2);
    *out << indent << "</" << node->name << ">\n";
}

void deleteTree(XMLnode* node) {
    if (node == nullptr) return;
    XMLnode* child = node->firstChild;
    while (child != nullptr) {
        XMLnode* next = child->nextSibling;
        deleteTree(child);
        child = next;
    }
    delete node;
}

int getNextTag(std::string text, int index) {
    if (index < 0) index = 0;
    size_t i = (size_t)index;
    while (i < text.length()) {
        char c = text[i];
        if (c == '/') return (int)i + 1;
        if (c == '>' || c == ' ') return (int)i;
        i++;
    }
    return (int)text.length();
}

std::string getSubTag(std::string text) {
    size_t open = text.find('<');
    if (open == NPOS) return std::string();
    size_t stop = (size_t)getNextTag(text, (int)open);
    std::string name = subText(text, open + 1, stop - open - 1);
    if (name.find('/') != NPOS) {
        // An empty element: the tag alone, through its '>'.
        size_t close = text.find('>', open);
        if (close == NPOS) return std::string();
        return text.substr(open, close - open + 1);
    }
    size_t endTag = text.find("</" + name, stop);
    if (endTag == NPOS) return std::string();
    size_t close = text.find('>', endTag);
    if (close == NPOS) return std::string();
    return text.substr(open, close - open + 1);
}

bool noFurtherSubtags(std::string text) {
    size_t first = text.find('>');
    if (first == NPOS) return true;
    size_t second = text.find('>', first + 1);
    size_t slash = text.find('/', first + 1);
    return slash == NPOS || (second != NPOS && second < slash);
}

namespace {

int parseAt(XMLnode* node, const std::string& text, int start, int depth) {
    if (depth > MAX_XML_DEPTH) {
        die("Error:  Invalid format of XML file.\nElements nested more than %d deep.\n",
            MAX_XML_DEPTH);
        return -1;
    }
    size_t stop = (size_t)getNextTag(text, start);
    std::string name = subText(text, 1, stop - 1);
    if (name.find('/') != NPOS) {
        name.erase(name.length() - 1);
        node->setName(name);
        return 0;
    }
    node->setName(name);

    // Where the closing characters of the element begin.
    size_t closeStart = text.find(name + "/", stop);
    if (closeStart == NPOS) closeStart = text.find("</" + name, stop);
    int result = 0;
    if (closeStart == NPOS) {
        printf("XML parsing error:  unable to find tag end.\n");
        fflush(stdout);
        closeStart = text.length();
        result = -1;
    }
    std::string inner = closeStart > stop ? text.substr(stop + 1, closeStart - stop - 1) : "";

    if (inner.find("</", 1) != NPOS) {
        while (true) {
            std::string sub = getSubTag(inner);
            if (sub.empty()) break;
            XMLnode* child = new XMLnode();
            node->addChild(child);
            if (parseAt(child, sub, 0, depth + 1) < 0) result = -1;
            inner = inner.substr(inner.find(sub) + sub.length());
        }
        return result;
    }
    size_t commentAt = inner.find("comment=");
    if (commentAt != NPOS) {
        // The comment is the text between the quotes that follow "comment=".
        size_t from = commentAt + 8;
        if (from < inner.length() && inner[from] == '"') from++;
        size_t quote = inner.find('"', from);
        node->setComment(subText(inner, from, quote == NPOS ? NPOS : quote - from));
    }
    node->setValue(inner);
    return result;
}

}  // namespace

int parse(XMLnode* node, std::string text, int start, int end) {
    if (end >= 0 && (size_t)end < text.length()) text.resize(end);
    return parseAt(node, text, start < 0 ? 0 : start, 0);
}
