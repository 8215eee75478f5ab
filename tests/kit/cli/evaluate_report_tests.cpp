// The page of velq evaluate --report, read as text and drawn by a browser.
#include "cli/fixtures.h"

#include <cstdlib>
#include <cstring>

namespace velq::test {
namespace {

namespace fs = std::filesystem;

class report_in_browser : public DataCommands {
  protected:
    void SetUp() override
    {
        for (const char *name : {"chromium", "chromium-browser", "google-chrome"}) {
            for (const char *folder : {"/usr/bin/", "/usr/local/bin/"}) {
                if (browser_.empty() && fs::exists(std::string(folder) + name)) {
                    browser_ = std::string(folder) + name;
                }
            }
        }
        if (browser_.empty()) {
            GTEST_SKIP() << "no Chromium here: install the package chromium to have the page looked at";
        }
    }
    // A page with errors of both kinds and long words.
    std::string report() const
    {
        std::string messages = inventedMessages(150, 1);
        for (int i = 0; i < 10; ++i) {
            messages += "ham\twinner prize claim now free cash " + std::string(90, 'w') + std::to_string(i) + "\n";
            messages +=
                "spam\tsee you dinner home soon love tomorrow \u514D\u8D39\u9886\u53D6 " + std::to_string(i) + "\n";
        }
        const CommandResult result =
            velq({"evaluate", "--plain", "--folds", "3", file("m.tsv", messages), "--report", path("report.html")});
        EXPECT_EQ(result.status, 0) << result.err;
        return path("report.html");
    }
    CommandResult browse(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), {"--headless", "--no-sandbox", "--disable-gpu", "--hide-scrollbars",
                                             "--disable-dev-shm-usage", "--user-data-dir=" + path("profile")});
        return runProgram(browser_, arguments);
    }

    std::string browser_;
};

TEST_F(report_in_browser, page_needs_nothing_from_elsewhere)
{
    const std::string page = readFile(report());
    for (const char *part : {"<script", "http:", "https:", "src=", "@import", "<link"}) {
        EXPECT_EQ(page.find(part), std::string::npos) << part;
    }
    EXPECT_NE(page.find("prefers-color-scheme: dark"), std::string::npos);
}

// The pictures are kept where VELQ_SCREENSHOTS names a folder, to be looked at.
TEST_F(report_in_browser, page_is_drawn_on_a_phone_and_a_desktop)
{
    const std::string url = "file://" + report();
    const char *kept = std::getenv("VELQ_SCREENSHOTS");
    const fs::path folder = kept != nullptr ? fs::path(kept) : folder_.path();
    for (const char *size : {"400,6000", "1280,3200"}) {
        const fs::path picture = folder / ("report-" + std::string(size, std::strcspn(size, ",")) + ".png");
        const CommandResult result =
            browse({"--window-size=" + std::string(size), "--screenshot=" + picture.string(), url});
        ASSERT_EQ(result.status, 0) << result.err;
        const std::string bytes = readFile(picture);
        ASSERT_GT(bytes.size(), 10000U) << "an empty page is smaller";
        EXPECT_EQ(bytes.substr(1, 3), "PNG");
    }
}

// A script added by the test opens every error and writes the page's width into it: nothing may stick out of a phone.
TEST_F(report_in_browser, page_fits_a_phones_width)
{
    std::string page = readFile(report());
    const std::size_t policy = page.find("<meta http-equiv=\"Content-Security-Policy\"");
    ASSERT_NE(policy, std::string::npos);
    page.erase(policy, page.find('\n', policy) - policy);
    page += "<script>document.querySelectorAll('details').forEach(d => d.open = true);"
            "document.body.dataset.width = document.documentElement.scrollWidth;"
            "document.body.dataset.window = window.innerWidth;"
            "document.body.dataset.errors = document.querySelectorAll('.errors details').length;</script>";
    const CommandResult result = browse({"--window-size=400,900", "--dump-dom", "file://" + file("wide.html", page)});
    ASSERT_EQ(result.status, 0) << result.err;
    const auto value = [&result](const std::string &name) {
        const std::size_t at = result.out.find("data-" + name + "=\"");
        return at == std::string::npos ? -1 : std::atoi(result.out.c_str() + at + name.size() + 7);
    };
    EXPECT_GT(value("width"), 0);
    EXPECT_LE(value("width"), value("window"));
    EXPECT_LE(value("window"), 500) << "the browser does not go below that";
    EXPECT_GE(value("errors"), 10);
}

} // namespace
} // namespace velq::test
