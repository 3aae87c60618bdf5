// The administrative templates against the names the program reads: every
// policy writes under its key a value the program reads, every value it reads
// has one policy, and every text and presentation the ADMX names is in both
// languages' ADML.
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

// The text of every node an XPath names in a template file, "p:" for the templates' namespace.
std::vector<std::string> select(const std::string& file, const std::string& xpath) {
    const std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> doc(
        xmlReadFile((std::string(OMBRIX_SOURCE_DIR) + "/policy/" + file).c_str(), nullptr, XML_PARSE_NONET), &xmlFreeDoc);
    if (!doc) {
        ADD_FAILURE() << file << " unreadable";
        return {};
    }
    const std::unique_ptr<xmlXPathContext, decltype(&xmlXPathFreeContext)> ctx(xmlXPathNewContext(doc.get()),
                                                                               &xmlXPathFreeContext);
    xmlXPathRegisterNs(ctx.get(), BAD_CAST "p", BAD_CAST "http://schemas.microsoft.com/GroupPolicy/2006/07/PolicyDefinitions");
    const std::unique_ptr<xmlXPathObject, decltype(&xmlXPathFreeObject)> result(
        xmlXPathEvalExpression(BAD_CAST xpath.c_str(), ctx.get()), &xmlXPathFreeObject);
    std::vector<std::string> found;
    for (int i = 0; result && result->nodesetval && i < result->nodesetval->nodeNr; ++i) {
        xmlChar* text = xmlNodeGetContent(result->nodesetval->nodeTab[i]);
        found.emplace_back(text ? reinterpret_cast<const char*>(text) : "");
        xmlFree(text);
    }
    return found;
}

TEST(TemplatesTest, EveryPolicyWritesUnderTheProgramsKeyAndEveryValueReadHasOne) {
    const auto keys = select("ombrix.admx", "//@key");
    EXPECT_FALSE(keys.empty());
    for (const std::string& key : keys) EXPECT_EQ(key, policy::kPolicyKey);
    std::multiset<std::string> written;
    for (const std::string& name : select("ombrix.admx", "//p:policy/@valueName | //p:policy/p:elements/*/@valueName")) {
        written.insert(name);
        EXPECT_EQ(std::ranges::count(policy::kAllValueNames, name), 1) << name << " is written but not read";
    }
    for (const std::string_view name : policy::kAllValueNames) {
        EXPECT_EQ(written.count(std::string(name)), 1u) << name << ": read by the program, set by one policy";
    }
}

TEST(TemplatesTest, EveryTextAndPresentationIsInBothLanguages) {
    // "$(string.Name)" and "$(presentation.Name)", by kind.
    std::set<std::pair<std::string, std::string>> named;
    for (const std::string& ref : select("ombrix.admx", "//@displayName | //@explainText | //@presentation")) {
        const std::size_t dot = ref.find('.');
        ASSERT_TRUE(ref.starts_with("$(") && ref.ends_with(")") && dot != std::string::npos) << ref;
        named.emplace(ref.substr(2, dot - 2), ref.substr(dot + 1, ref.size() - dot - 2));
    }
    ASSERT_GE(named.size(), 20u);
    for (const char* language : {"en-US/ombrix.adml", "it-IT/ombrix.adml"}) {
        for (const auto& [kind, name] : named) {
            const std::string at = "//p:" + kind + "[@id='" + name + "']";
            EXPECT_EQ(select(language, at).size(), 1u) << language << ": " << kind << " " << name;
            if (kind != "presentation") continue;
            // Each element of the policies that use it has its box there, by the element's id.
            for (const auto& id : select("ombrix.admx", "//p:policy[@presentation='$(presentation." + name + ")']/p:elements/*/@id")) {
                EXPECT_EQ(select(language, at + "/*[@refId='" + id + "']").size(), 1u) << language << ": " << name << "/" << id;
            }
        }
    }
}

}  // namespace
