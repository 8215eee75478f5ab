// Text in markup.
#include "kit/evaluation/html.h"

#include <gtest/gtest.h>

namespace velq::kit {
namespace {

TEST(html, text_cannot_become_markup)
{
    EXPECT_EQ(htmlText("<b a=\"x\" c='y'>&\x01\n"), "&lt;b a=&quot;x&quot; c=&#39;y&#39;&gt;&amp; \n");
    EXPECT_EQ(htmlText("tab\tand \xE4\xBD\xA0"), "tab\tand \xE4\xBD\xA0");
}

} // namespace
} // namespace velq::kit
