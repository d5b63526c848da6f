#include <gtest/gtest.h>

#include <string>

#include "TestSupport.h"
#include "XMLnode.h"

using testsupport::readFile;
using testsupport::TempDir;

namespace {

const char* HEADER = "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>\n";

using testsupport::exactly;

// Reads an XML text through a real file.
XMLnode* readText(const TempDir& dir, const std::string& text) {
    testsupport::writeFile(dir.path("in.xml"), text);
    return readXMLFile(dir.path("in.xml"));
}

// The tree as "name=value#comment{children}" for compact comparison.
std::string shape(XMLnode* node) {
    std::string out;
    for (XMLnode* n = node; n != nullptr; n = n->getNextSibling()) {
        out += n->getName();
        if (!n->getValue().empty()) out += "=" + n->getValue();
        if (!n->getComment().empty()) out += "#" + n->getComment();
        if (n->getFirstChild() != nullptr) out += "{" + shape(n->getFirstChild()) + "}";
        if (n->getNextSibling() != nullptr) out += ",";
    }
    return out;
}

}  // namespace

TEST(XMLnodeTest, WriterLayoutAndRoundTrip) {
    TempDir dir;
    XMLnode* root = new XMLnode("ZeqProject");
    XMLnode* info = new XMLnode("ProjectInformation");
    info->addChild(new XMLnode("ProjectType", "Mapping", "kind"));
    XMLnode* deep = new XMLnode("Deep");
    deep->addChild(new XMLnode("Path", "/data/a b.sff"));
    info->addChild(deep);
    root->addChild(info);
    root->addChild(new XMLnode("VectorDatabase", "", "not written"));
    writeXMLFile(dir.path("out.xml"), root);
    EXPECT_EQ(readFile(dir.path("out.xml")),
              std::string(HEADER) +
                  "<ZeqProject>\n"
                  "\n"
                  "  <ProjectInformation>\n"
                  "    <ProjectType comment=\"kind\">Mapping</ProjectType>\n"
                  "    <Deep>\n"
                  "      <Path>/data/a b.sff</Path>\n"
                  "    </Deep>\n"
                  "  </ProjectInformation>\n"
                  "\n"
                  "  <VectorDatabase/>\n"
                  "\n"
                  "</ZeqProject>\n");
    // Without a comment (which the reader doesn't know) the file reads back to the same tree.
    info->getFirstChild()->setComment("");
    writeXMLFile(dir.path("out.xml"), root);
    XMLnode* back = readXMLFile(dir.path("out.xml"));
    EXPECT_EQ(shape(back->getFirstChild()),
              "ZeqProject{ProjectInformation{ProjectType=Mapping,Deep{Path=/data/a b.sff}},"
              "VectorDatabase}");
    deleteTree(back);

    // Rewriting truncates in place; an unwritable path is silent and leaves nothing.
    XMLnode leaf("a", std::string(100000, 'v'));
    writeXMLFile(dir.path("out.xml"), &leaf);
    EXPECT_EQ(readFile(dir.path("out.xml")), HEADER + ("<a>" + leaf.getValue() + "</a>\n"));
    writeXMLFile(dir.path("missing/out.xml"), root);
    EXPECT_FALSE(testsupport::exists(dir.path("missing/out.xml")));
    deleteTree(root);
}

TEST(XMLnodeTest, ReaderForms) {
    TempDir dir;
    XMLnode* root = readText(dir,
                             "<?xml version=\"1.0\"?>\n"
                             "<top>\n"
                             "  <e></e><s/><b>1</b>\n"
                             "<!-- a comment line -->\n"
                             "  <kids>  <c>x</c>  text ignored <d>y</d>  </kids>\n"
                             "  <blanks>  1  </blanks><gt>a>b</gt><ent>&lt;</ent>\n"
                             "  <?xml again?>\n"
                             "  <multi>one\n"
                             "two</multi>\n"
                             "</top>\n");
    EXPECT_EQ(shape(root->getFirstChild()),
              "top{e,s,b=1,kids{c=x,d=y},blanks=  1  ,gt=a>b,ent=&lt;,multi=onetwo}");
    // The empty value of <e></e> is written back in the empty form.
    writeXMLFile(dir.path("e.xml"), root->getFirstChild()->getFirstChild());
    EXPECT_EQ(readFile(dir.path("e.xml")), std::string(HEADER) + "<e/>\n");
    deleteTree(root);

    XMLnode* none = readXMLFile(dir.path("no-such-file.xml"));
    EXPECT_EQ(none->getFirstChild(), nullptr);
    deleteTree(none);
}

TEST(XMLnodeTest, MalformedInputDies) {
    TempDir dir;
    const std::string prefix = "Error:  Invalid format of XML file.\n";
    // An attribute makes the whole bracket content the name, whose end tag never comes. The
    // same name nested closes at the first end tag; the message shows as many characters from
    // the value on as the enclosing range's end index.
    const std::pair<std::string, std::string> cases[] = {
        {"<a>1</a>\n<b", "Can't find end of start tag:  <b\n"},
        {"<a comment=\"x\">1</a>", "Error:  Cannot find endtag </a comment=\"x\"> in 1</a>\n"},
        {"<top><a>1</top>", "Error:  Cannot find endtag </a> in 1</top>\n"},
        {"<a><a>1</a></a>", "Error:  Cannot find endtag </a> in 1</a></\n"},
    };
    for (const auto& [text, message] : cases)
        EXPECT_EXIT(readText(dir, text), ::testing::ExitedWithCode(255), exactly(prefix + message))
            << text;
    // A long remainder is reported (cut at the message limit) without overrun.
    EXPECT_EXIT(readText(dir, "<a>" + std::string(60000, 'v')), ::testing::ExitedWithCode(255),
                "^Error:  Invalid format of XML file.\nError:  Cannot find endtag </a> in vvv");
    std::string deep, tail;
    for (int i = 0; i < 1500; i++) {
        deep += "<e" + std::to_string(i) + ">";
        tail = "</e" + std::to_string(i) + ">" + tail;
    }
    EXPECT_EXIT(readText(dir, deep + "x" + tail), ::testing::ExitedWithCode(255),
                "Elements nested more than 1000 deep");
}

TEST(XMLnodeTest, EarlierParser) {
    std::string text = "<top><x comment=\"note\">5</x><e/><k><m>q</m></k></top>";
    XMLnode node;
    EXPECT_EQ(parse(&node, text, 0, (int)text.length()), 0);
    // A leaf keeps the whole text after its name as the value.
    EXPECT_EQ(shape(&node), "top{x=comment=\"note\">5#note,e,k{m=q}}");
    for (XMLnode* child = node.firstChild; child != nullptr;) {
        XMLnode* next = child->getNextSibling();
        deleteTree(child);
        child = next;
    }

    XMLnode open;
    testing::internal::CaptureStdout();
    EXPECT_EQ(parse(&open, "<a>1", 0, 4), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "XML parsing error:  unable to find tag end.\n");
}
