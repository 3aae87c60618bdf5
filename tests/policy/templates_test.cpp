// The administrative templates against the names the program reads: every
// policy writes under its key, with value names it reads, and every value
// it reads has a policy; every text and presentation the ADMX names is in
// both languages' ADML.
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

// A template file; select() gives the text of every node an XPath names,
// with "p:" for the templates' namespace.
class Template {
public:
    explicit Template(const std::string& relative)
        : doc_(xmlReadFile((std::string(OMBRIX_SOURCE_DIR) + "/policy/" + relative).c_str(), nullptr, XML_PARSE_NONET),
               &xmlFreeDoc) {}
    [[nodiscard]] bool loaded() const { return doc_ != nullptr; }
    [[nodiscard]] std::vector<std::string> select(const std::string& xpath) const {
        std::vector<std::string> found;
        std::unique_ptr<xmlXPathContext, decltype(&xmlXPathFreeContext)> ctx(xmlXPathNewContext(doc_.get()),
                                                                             &xmlXPathFreeContext);
        xmlXPathRegisterNs(ctx.get(), BAD_CAST "p",
                           BAD_CAST "http://schemas.microsoft.com/GroupPolicy/2006/07/PolicyDefinitions");
        std::unique_ptr<xmlXPathObject, decltype(&xmlXPathFreeObject)> result(
            xmlXPathEvalExpression(BAD_CAST xpath.c_str(), ctx.get()), &xmlXPathFreeObject);
        for (int i = 0; result && result->nodesetval && i < result->nodesetval->nodeNr; ++i) {
            xmlChar* text = xmlNodeGetContent(result->nodesetval->nodeTab[i]);
            found.emplace_back(text ? reinterpret_cast<const char*>(text) : "");
            xmlFree(text);
        }
        return found;
    }

private:
    std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> doc_;
};

TEST(TemplatesTest, EveryPolicyWritesUnderTheProgramsKeyAndEveryValueReadHasOne) {
    const Template admx("ombrix.admx");
    ASSERT_TRUE(admx.loaded());
    for (const std::string& key : admx.select("//@key")) EXPECT_EQ(key, policy::kPolicyKey);
    std::multiset<std::string> written;
    for (const std::string& name : admx.select("//p:policy/@valueName | //p:policy/p:elements/*/@valueName")) {
        written.insert(name);
        EXPECT_NE(std::find(policy::kAllValueNames.begin(), policy::kAllValueNames.end(), name),
                  policy::kAllValueNames.end())
            << name << " is written by a policy but not read by the program";
    }
    for (const std::string_view name : policy::kAllValueNames) {
        EXPECT_EQ(written.count(std::string(name)), 1u) << name << ": read by the program, set by one policy";
    }
}

TEST(TemplatesTest, EveryTextAndPresentationIsInBothLanguages) {
    const Template admx("ombrix.admx");
    ASSERT_TRUE(admx.loaded());
    // "$(string.Name)" and "$(presentation.Name)", by kind.
    std::set<std::pair<std::string, std::string>> named;
    for (const std::string& ref : admx.select("//@displayName | //@explainText | //@presentation")) {
        const std::size_t dot = ref.find('.');
        ASSERT_TRUE(ref.starts_with("$(") && ref.ends_with(")") && dot != std::string::npos) << ref;
        named.emplace(ref.substr(2, dot - 2), ref.substr(dot + 1, ref.size() - dot - 2));
    }
    ASSERT_GE(named.size(), 20u);
    for (const char* language : {"en-US/ombrix.adml", "it-IT/ombrix.adml"}) {
        const Template adml(language);
        ASSERT_TRUE(adml.loaded()) << language;
        for (const auto& [kind, name] : named) {
            const std::string at = "//p:" + kind + "[@id='" + name + "']";
            EXPECT_EQ(adml.select(at).size(), 1u) << language << ": " << kind << " " << name;
            if (kind != "presentation") continue;
            // Each element of the policies that use it has its box there, by the element's id.
            for (const std::string& id : admx.select("//p:policy[@presentation='$(presentation." + name + ")']/p:elements/*/@id")) {
                EXPECT_EQ(adml.select(at + "/*[@refId='" + id + "']").size(), 1u) << language << ": " << name << "/" << id;
            }
        }
    }
}

}  // namespace
