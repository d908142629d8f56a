#include "link/host_port.h"

#include <gtest/gtest.h>

namespace corvane {
namespace {

TEST(HostPort, IsTakenApartAsAWhole) {
    const struct {
        const char* text;
        const char* host;  ///< empty: it is none
        int port;
    } cases[] = {
        {"example.org", "example.org", 0},
        {"a-b_c.d:80", "a-b_c.d", 80},
        {"192.168.1.10:65535", "192.168.1.10", 65535},
        {"::1", "::1", 0},
        {"[::1]", "::1", 0},
        {"[fe80::1%lo]:80", "fe80::1%lo", 80},
        {"2001:db8::8000", "2001:db8::8000", 0},
        {"", "", 0},
        {":80", "", 0},
        {"x:", "", 0},
        {"x:0", "", 0},
        {"x:65536", "", 0},
        {"x:8 0", "", 0},
        {"x:+80", "", 0},
        {"x y", "", 0},
        {"x/y", "", 0},
        {"127.0.0.1:80.evil.example", "", 0},
        {"[::1", "", 0},
        {"[::1]80", "", 0},
        {"[127.0.0.1]:80", "", 0},
        {"[]:80", "", 0},
        {"x::1]", "", 0},
    };
    for (const auto& c : cases) {
        const auto parsed = ParseHostPort(QString::fromLatin1(c.text));
        EXPECT_EQ(parsed.has_value(), *c.host != '\0') << c.text;
        EXPECT_EQ(parsed.value_or(HostPort{}).host.toStdString(), c.host) << c.text;
        EXPECT_EQ(parsed.value_or(HostPort{}).port, c.port) << c.text;
        const QString text = QString::fromLatin1(c.text);
        EXPECT_EQ(ParseHost(text).has_value(), *c.host != '\0' && c.port == 0) << c.text;
    }
    EXPECT_EQ(BracketedHost(QStringLiteral("::1")), QStringLiteral("[::1]"));
    EXPECT_EQ(BracketedHost(QStringLiteral("127.0.0.1")), QStringLiteral("127.0.0.1"));
}

}  // namespace
}  // namespace corvane
