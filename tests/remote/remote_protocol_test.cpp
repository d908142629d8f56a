#include "remote/remote_protocol.h"

#include <gtest/gtest.h>

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

TEST(RemoteProtocol, RequestsSurviveTheLine) {
    const RemoteRequest request{
        .command = u"set-serial"_s, .arguments = {u"A"_s, u" \"ä\n"_s}, .answer = Answer::Cancel};
    const QByteArray line = RemoteLine(RemoteRequestObject(request));
    EXPECT_EQ(line.count('\n'), 1) << "a line feed within a text must not end the line";
    const auto parsed = std::get<RemoteRequest>(ParseRemoteRequest(line));
    EXPECT_EQ(parsed.command, request.command);
    EXPECT_EQ(parsed.arguments, request.arguments);
    EXPECT_EQ(parsed.answer, request.answer);
}

TEST(RemoteProtocol, WhatIsNoRequestIsToldSo) {
    const char* lines[] = {"",
                           "\n",
                           "status",
                           "[]",
                           "{",
                           "{}",
                           "{\"command\":7}",
                           "{\"command\":\"\"}",
                           "{\"command\":\"get\",\"arguments\":\"A\"}",
                           "{\"command\":\"get\",\"arguments\":[1]}",
                           "{\"command\":\"get\",\"answer\":\"maybe\"}",
                           "{\"command\":\"get\",\"answer\":null}",
                           "\xFF\xFE\x00"};
    for (const char* line : lines) {
        const auto parsed = ParseRemoteRequest(line);
        ASSERT_TRUE(std::holds_alternative<QString>(parsed)) << line;
        EXPECT_FALSE(std::get<QString>(parsed).isEmpty()) << line;
    }
}

TEST(RemoteProtocol, ALongFolderHasItsSocketElsewhereUnderANameOfItsOwn) {
    EXPECT_EQ(RemoteSocketPath(u"/home/a/data"_s), u"/home/a/data/control.sock"_s);
    const QString longFolder = u"/home/"_s + QString(120, u'x');
    const QString path = RemoteSocketPath(longFolder);
    EXPECT_LT(path.toUtf8().size(), 100);
    EXPECT_EQ(path, RemoteSocketPath(longFolder));
    EXPECT_NE(path, RemoteSocketPath(longFolder + u"y"_s));
}

}  // namespace
}  // namespace corvane
