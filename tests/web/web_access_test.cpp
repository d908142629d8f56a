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
        {"localhost", true},
        {"[::1", false},
        {"x::1]", false},
        {"evil.example", false},
        {"evil.example:80", false},
        {"localhost.evil.example", false},
        {"", false},
        {":8780", false},
        {"127.0.0.1.evil.example", false},
        {"127.0.0.1:80.evil.example", false},
    };
    for (const auto& c : cases) {
        const WebCredentials asking{.host = c.host, .token = {}, .cookie = {}, .authorization = {}};
        EXPECT_EQ(JudgeAccess(asking, "") == WebAccess::Granted, c.served) << c.host;
    }
}

TEST(WebAccess, TheTokenCountsWhereverItIsTold) {
    const struct {
        WebCredentials told;
        WebAccess access;
    } cases[] = {
        {{.host = "127.0.0.1", .token = {}, .cookie = {}, .authorization = {}}, WebAccess::NeedsToken},
        {{.host = {}, .token = "secret", .cookie = {}, .authorization = {}}, WebAccess::ByAddress},
        {{.host = {}, .token = "secret", .cookie = "secret", .authorization = {}}, WebAccess::Granted},
        {{.host = {}, .token = {}, .cookie = {}, .authorization = "Bearer secret"}, WebAccess::Granted},
        {{.host = {}, .token = {}, .cookie = {}, .authorization = "secret"}, WebAccess::NeedsToken},
        {{.host = {}, .token = {}, .cookie = {}, .authorization = "Basic! secret"}, WebAccess::NeedsToken},
        {{.host = {}, .token = {}, .cookie = "secre", .authorization = {}}, WebAccess::WrongToken},
        {{.host = {}, .token = {}, .cookie = "tecret", .authorization = {}}, WebAccess::WrongToken},
        {{.host = {}, .token = "secrets", .cookie = {}, .authorization = {}}, WebAccess::WrongToken},
    };
    for (const auto& c : cases)
        EXPECT_EQ(JudgeAccess(c.told, "secret"), c.access) << c.told.cookie << c.told.authorization;
}

}  // namespace
}  // namespace corvane
