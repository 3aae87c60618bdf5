// The administrative templates against the names the program reads: every
// policy writes under the program's key, with value names it reads; every
// value it reads has a policy; every text and presentation the ADMX names
// is in both languages' ADML.
#include <libxml/parser.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "core/policy_names.h"

namespace {

namespace policy = ombrix::core::policy;

constexpr const char* kNamespace = "http://schemas.microsoft.com/GroupPolicy/2006/07/PolicyDefinitions";

struct DocDeleter {
    void operator()(xmlDoc* d) const { xmlFreeDoc(d); }
};

class Template {
public:
    explicit Template(const std::string& relative)
        : doc_(xmlReadFile((std::string(OMBRIX_SOURCE_DIR) + "/policy/" + relative).c_str(), nullptr,
                           XML_PARSE_NONET)) {}
    [[nodiscard]] bool loaded() const { return doc_ != nullptr; }

    // The text of every node the expression selects (attributes included), in order.
    [[nodiscard]] std::vector<std::string> select(const std::string& xpath) const {
        std::vector<std::string> found;
        xmlXPathContext* ctx = xmlXPathNewContext(doc_.get());
        xmlXPathRegisterNs(ctx, reinterpret_cast<const xmlChar*>("p"), reinterpret_cast<const xmlChar*>(kNamespace));
        xmlXPathObject* result = xmlXPathEvalExpression(reinterpret_cast<const xmlChar*>(xpath.c_str()), ctx);
        if (result && result->nodesetval) {
            for (int i = 0; i < result->nodesetval->nodeNr; ++i) {
                xmlChar* text = xmlNodeGetContent(result->nodesetval->nodeTab[i]);
                found.emplace_back(text ? reinterpret_cast<const char*>(text) : "");
                xmlFree(text);
            }
        }
        xmlXPathFreeObject(result);
        xmlXPathFreeContext(ctx);
        return found;
    }

private:
    std::unique_ptr<xmlDoc, DocDeleter> doc_;
};

// "$(string.Name)" -> "Name"; empty for anything else.
std::string reference(const std::string& text, const std::string& kind) {
    const std::string head = "$(" + kind + ".";
    if (text.rfind(head, 0) != 0 || text.back() != ')') return {};
    return text.substr(head.size(), text.size() - head.size() - 1);
}

class TemplatesTest : public ::testing::Test {
protected:
    Template admx{"ombrix.admx"};
};

TEST_F(TemplatesTest, EveryPolicyWritesUnderTheProgramsKeyAndEveryValueReadHasOne) {
    ASSERT_TRUE(admx.loaded());
    for (const std::string& key : admx.select("//p:policy/@key")) EXPECT_EQ(key, policy::kPolicyKey);
    EXPECT_TRUE(admx.select("//*[@key and not(self::p:policy)]").empty()) << "an element names a key of its own";

    // A policy's own valueName (its switch) and its elements' value names.
    std::multiset<std::string> written;
    for (const std::string& name : admx.select("//p:policy/@valueName | //p:policy/p:elements/*/@valueName")) {
        written.insert(name);
    }
    for (const std::string& name : written) {
        EXPECT_NE(std::find(policy::kAllValueNames.begin(), policy::kAllValueNames.end(), name),
                  policy::kAllValueNames.end())
            << name << " is written by a policy but not read by the program";
        EXPECT_EQ(written.count(name), 1u) << name << " is written by two policies";
    }
    for (const std::string_view name : policy::kAllValueNames) {
        EXPECT_EQ(written.count(std::string(name)), 1u) << name << " is read by the program but no policy sets it";
    }
}

TEST_F(TemplatesTest, EveryTextAndPresentationIsInBothLanguages) {
    ASSERT_TRUE(admx.loaded());
    std::set<std::string> strings, presentations;
    for (const std::string& text : admx.select("//@displayName | //@explainText")) {
        const std::string name = reference(text, "string");
        EXPECT_FALSE(name.empty()) << text << " is no $(string.NAME)";
        strings.insert(name);
    }
    for (const std::string& text : admx.select("//@presentation")) {
        const std::string name = reference(text, "presentation");
        EXPECT_FALSE(name.empty()) << text << " is no $(presentation.NAME)";
        presentations.insert(name);
    }
    ASSERT_FALSE(strings.empty());
    for (const char* language : {"en-US/ombrix.adml", "it-IT/ombrix.adml"}) {
        const Template adml(language);
        ASSERT_TRUE(adml.loaded()) << language;
        for (const std::string& name : strings) {
            EXPECT_EQ(adml.select("//p:stringTable/p:string[@id='" + name + "']").size(), 1u) << language << ": " << name;
        }
        for (const std::string& name : presentations) {
            const std::string at = "//p:presentationTable/p:presentation[@id='" + name + "']";
            ASSERT_EQ(adml.select(at).size(), 1u) << language << ": presentation " << name;
            // Each element of the policy that uses it has its box there, by the element's id.
            for (const std::string& id : admx.select("//p:policy[@presentation='$(presentation." + name +
                                                     ")']/p:elements/*/@id")) {
                EXPECT_EQ(adml.select(at + "/*[@refId='" + id + "']").size(), 1u) << language << ": " << name << "/" << id;
            }
        }
    }
}

}  // namespace
