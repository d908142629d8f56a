#include "web/web_access.h"

#include <gtest/gtest.h>

namespace corvane {
namespace {

TEST(WebAccess, WithoutATokenOnlyNumbersAndLocalhostAreServed) {
    // A page of another site could otherwise let its name point here, and read what this machine says.
    const struct {
        const char* host;
        bool served;
    } cases[] = {
        {"127.0.0.1", true},
        {"127.0.0.1:8780", true},
        {"localhost:8780", true},
        {"[::1]:8780", true},
        {"[::1]", true},
        {"evil.example", false},
        {"evil.example:80", false},
        {"localhost.evil.example", false},
        {"", false},
        {":8780", false},
        {"127.0.0.1.evil.example", false},
    };
    for (const auto& c : cases) {
        const WebCredentials asking{.host = c.host, .token = {}, .cookie = {}, .authorization = {}};
        EXPECT_EQ(JudgeAccess(asking, "") == WebAccess::Granted, c.served) << c.host;
    }
}

}  // namespace
}  // namespace corvane
