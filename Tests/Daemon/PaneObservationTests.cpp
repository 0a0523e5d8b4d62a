#include "Support/Descriptors.h"
#include "Support/TemporaryFolder.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Daemon/PaneObservation.h"
#include <future>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace tarnel {

namespace {

/// A multiplexer in which the pane "p1" has 80 columns and 24 rows.
class OnePane final : public MuxleTransport {
public:
    JSON request(std::string_view, const JSON::Object&, Seconds) override
    {
        return JSON::parse(
            R"({"snapshot":{"layouts":[{"panes":[{"pane_id":"p1","rect":{"width":80,"height":24}}]}]}})");
    }
    void subscribe(const JSON::Array&, const std::function<void(std::shared_ptr<LineChannel>)>&,
        const std::function<void(const JSON&)>&) override
    {
    }
    [[nodiscard]] std::string socketPath() const override { return "/the/socket"; }
};

/// An observation with a shell script for the multiplexer's tool, and the client's end of it.
class PaneObservationTest : public ::testing::Test {
protected:
    void setTool(const std::string& script)
    {
        environment["MUXLE_BIN_PATH"] = folder.write("muxle", script);
        ASSERT_EQ(::chmod(environment["MUXLE_BIN_PATH"].c_str(), 0755), 0);
    }

    /// What the daemon would have to answer next, once the observation is over.
    std::future<std::optional<std::string>> observe(PaneObservation::Request request = {.id = 7, .pane = "p1"})
    {
        return std::async(std::launch::async, [this, request = std::move(request)] {
            return PaneObservation::run(request, muxle, "studio", environment, *ends.socket);
        });
    }

    const TemporaryFolder folder;
    const MuxleClient muxle{std::make_shared<OnePane>()};
    Environment environment{{"PATH", "/usr/bin:/bin"}, {"HOME", folder.path()}};
    SocketPair ends;
    const std::shared_ptr<LineSocket> client = ends.takePeer();
};

constexpr auto observing = R"({"id":7,"result":{"observing":"p1"}})";
constexpr auto closed = R"({"event":"closed"})";

TEST_F(PaneObservationTest, relaysTheToolsObjects)
{
    setTool(R"(#!/bin/sh
echo '{"width":2,"type":"terminal.frame","event":"x","bytes":"QQ=="}'
echo 'no JSON'
echo '[1]'
echo
printf '{"bytes":'; sleep 0.05; echo '"Qg=="}'
echo '{"type":"terminal.closed"}'
printf '{"cut":true}'
)");
    auto next = observe();
    for (const char* line : {observing, R"({"bytes":"QQ==","event":"frame","type":"terminal.frame","width":2})",
             R"({"bytes":"Qg==","event":"frame"})", R"({"event":"closed","type":"terminal.closed"})", closed})
        EXPECT_EQ(client->readLine(), line);
    client->writeLine("the next request");
    EXPECT_EQ(next.get(), "the next request");
}

TEST_F(PaneObservationTest, tellsTheToolItsPaneSizeAndSession)
{
    setTool("#!/bin/sh\necho \"{\\\"args\\\":\\\"$*\\\",\\\"socket\\\":\\\"$MUXLE_SOCKET_PATH\\\"}\"");
    environment["MUXLE_SOCKET_PATH"] = "/other";
    struct Case {
        PaneObservation::Request request;
        const char* args;
    };
    const Case cases[] = {
        {{.pane = "p1", .columns = 100, .rows = 30}, "p1 --cols 100 --rows 30"},
        {{.pane = "p1"}, "p1 --cols 80 --rows 24"},
        {{.pane = "p1", .columns = 100}, "p1 --cols 80 --rows 24"},
        {{.pane = "p9", .rows = 30}, "p9"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.args);
        auto next = observe(c.request);
        EXPECT_NE(client->readLine(), std::nullopt);
        EXPECT_EQ(client->readLine(),
            R"({"args":"terminal session observe )" + std::string(c.args)
                + R"(","event":"frame","socket":"/the/socket"})");
        EXPECT_EQ(client->readLine(), closed);
        client->writeLine("");
        next.get();
    }
}

TEST_F(PaneObservationTest, endsWithTheClientsConnection)
{
    setTool("#!/bin/sh\ntrap 'touch ended; exit' TERM\ncd \"$HOME\"\necho '{}'\nsleep 1000 & wait");
    auto next = observe();
    EXPECT_EQ(client->readLine(), observing);
    EXPECT_EQ(client->readLine(), R"({"event":"frame"})");
    client->writeLine("ignored while the stream lasts");
    client->close();
    EXPECT_EQ(next.get(), std::nullopt);
    EXPECT_TRUE(Files::exists(folder / "ended"));
}

TEST_F(PaneObservationTest, saysWhyItCannotStart)
{
    setTool("#!/no/such/interpreter\n");
    EXPECT_EQ(observe().get(), std::nullopt);
    EXPECT_EQ(client->readLine(),
        R"({"error":{"code":"failed","message":"cannot run muxle: )" + environment["MUXLE_BIN_PATH"]
            + R"(: No such file or directory"},"id":7})");
    environment.erase("MUXLE_BIN_PATH");
    if (MuxleClient::executable(environment))
        GTEST_SKIP() << "the multiplexer is installed here";
    EXPECT_EQ(observe().get(), std::nullopt);
    EXPECT_EQ(client->readLine(), R"({"error":{"code":"failed","message":"muxle is not installed on studio"},"id":7})");
}

TEST_F(PaneObservationTest, buffersALineOfAnyReasonableLength)
{
    setTool("#!/bin/sh\nprintf '{\"bytes\":\"'; head -c 1000000 /dev/zero | tr '\\0' A; echo '\"}'\n"
            "head -c 70000000 /dev/zero | tr '\\0' A\nsleep 1000");
    auto next = observe();
    EXPECT_EQ(client->readLine(), observing);
    EXPECT_EQ(client->readLine(), R"({"bytes":")" + std::string(1'000'000, 'A') + R"(","event":"frame"})");
    EXPECT_EQ(client->readLine(), closed); // not one that never ends
    client->close();
    next.get();
}

} // namespace

} // namespace tarnel
