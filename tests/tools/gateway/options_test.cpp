#include "tools/gateway/options.h"

#include <gtest/gtest.h>

#include <iterator>
#include <sstream>

#include "tests/support/files.h"

namespace corvenna::test {
namespace {

using namespace gateway;

const Catalogue kOnePoint = {{1, 1, "Meter", "", "", {{PointType::kAnalogueInput, 0, "Ua", "V"}}}};

int Parse(std::vector<const char *> arguments, CommandLine &line) {
    arguments.insert(arguments.begin(), "corvenna-gateway");
    int exitCode = 0;
    const bool goOn =
        ParseCommandLine(static_cast<int>(arguments.size()), arguments.data(), line, exitCode);
    return goOn ? 0 : exitCode;
}

TEST(GatewayOptions, OfRunAreTaken) {
    CommandLine line;
    ASSERT_EQ(
        Parse({"run",        "--source",       "wave", "--wave-size",  "2x3x4",      "--plugin",
               "p.so",       "--data",         "/d",   "--alarm",      "01010000>1", "--alarm",
               "01010000<0", "--speed",        "10",   "--spool-size", "2",          "--spool-days",
               "3",          "--history-days", "4",    "--status",     "lines",      "--once"},
              line),
        0);
    EXPECT_EQ(line.command, CommandLine::Command::kRun);
    EXPECT_EQ(MakeSource(line)->Devices().size(), 6U);
    EXPECT_EQ(line.plugin, "p.so");
    EXPECT_EQ(line.gateway.folder, "/d");
    EXPECT_EQ(MakeThresholds(line, kOnePoint).size(), 2U);
    EXPECT_EQ(line.gateway.speed, 10);
    EXPECT_EQ(line.gateway.spoolBytes, 2U * 1024 * 1024);
    EXPECT_EQ(line.gateway.spoolAge, std::chrono::hours(72));
    EXPECT_EQ(line.gateway.historyAge, std::chrono::hours(96));
    EXPECT_EQ(line.status, "lines");
    EXPECT_TRUE(line.once);
}

TEST(GatewayOptions, OfConfigureAreTaken) {
    CommandLine line;
    ASSERT_EQ(
        Parse({"configure", "--root",        "/r",    "--server",     "s",    "--port",
               "9",         "--prefix",      "/p",    "--format",     "xml",  "--compress",
               "--https",   "--certificate", "c",     "--user",       "u",    "--password",
               "w",         "--real-data",   "61",    "--alarm-data", "-1",   "--heartbeat",
               "62",        "--check-fail",  "31",    "--recall",     "63",   "--forward-channel",
               "1",         "--model",       "Mosso", "--serial",     "ABC1", "--name",
               "n",         "--station",     "t"},
              line),
        0);
    EXPECT_EQ(line.command, CommandLine::Command::kConfigure);
    EXPECT_EQ(line.root, "/r");
    EXPECT_EQ(line.configuration.port, 9);
    EXPECT_EQ(line.configuration.format, "xml");
    EXPECT_TRUE(line.configuration.compress);
    EXPECT_TRUE(line.configuration.https);
    EXPECT_EQ(line.configuration.alarmInterval, -1);
    EXPECT_EQ(line.configuration.serial, "ABC1");
}

TEST(GatewayOptions, OfAGatewaysDescriptionAreTaken) {
    CommandLine line;
    ASSERT_EQ(Parse({"configure", "--address", "Mill Lane 1", "--owner", "Mill", "--room", "Cellar",
                     "--position", "-8.547,+47.378", "--force"},
                    line),
              0);
    EXPECT_TRUE(line.force);
    const ConfigurationOptions options = MakeConfiguration(line);
    EXPECT_EQ(options.address, "Mill Lane 1");
    EXPECT_EQ(options.owner, "Mill");
    EXPECT_EQ(options.room, "Cellar");
    EXPECT_EQ(options.longitude, "-8.547");
    EXPECT_EQ(options.latitude, "+47.378");
}

TEST(GatewayOptions, RefuseAPositionThatIsNone) {
    for (const char *position :
         {"8.5", "8.5,", ",47", "181,0", "0,91", "a,b", "1,2,3", "nan,0", "0x1,0", " 1,2"}) {
        CommandLine line;
        line.position = position;
        EXPECT_THROW(MakeConfiguration(line), std::runtime_error) << position;
    }
    CommandLine line;
    line.position = "-180,90";
    EXPECT_NO_THROW(MakeConfiguration(line));
}

TEST(GatewayOptions, TakeThePasswordFromTheEnvironmentOrAFile) {
    setenv("CORVENNA_PASSWORD", "of the environment", 1);
    CommandLine line;
    ASSERT_EQ(Parse({"configure"}, line), 0);
    EXPECT_EQ(MakeConfiguration(line).password, "of the environment");
    WriteFile("/tmp/password", "of the file\nand no more");
    ASSERT_EQ(Parse({"configure", "--password-file", "/tmp/password"}, line), 0);
    EXPECT_EQ(MakeConfiguration(line).password, "of the file");
    WriteFile("/tmp/password", "");
    EXPECT_THROW(MakeConfiguration(line), std::runtime_error);
}

class BadOptions : public testing::TestWithParam<std::string> {};

TEST_P(BadOptions, AreRefused) {
    std::istringstream words(GetParam());
    const std::vector<std::string> arguments{std::istream_iterator<std::string>(words), {}};
    std::vector<const char *> pointers;
    for (const std::string &argument : arguments) {
        pointers.push_back(argument.c_str());
    }
    CommandLine line;
    EXPECT_EQ(Parse(pointers, line), 2);
}

INSTANTIATE_TEST_SUITE_P(All, BadOptions,
                         testing::Values("", "walk", "configure --port 0", "configure --port 65536",
                                         "configure --format yaml", "configure --real-data 32768",
                                         "run --speed 0", "run --speed nan", "run --status loud",
                                         "run --spool-size 0"));

TEST(GatewayOptions, MakeASourceOfAFile) {
    WriteFile("/tmp/recorded.csv", "Meter/Ua\n1\n");
    CommandLine line;
    line.source = "/tmp/recorded.csv";
    EXPECT_EQ(MakeSource(line)->Devices().size(), 1U);
    line.source = "/tmp/none.csv";
    EXPECT_THROW(MakeSource(line), std::runtime_error);
}

TEST(GatewayOptions, RefuseABadWaveSize) {
    for (const char *size : {"", "1", "1x2", "0x1x1", "1x0x1", "1x1x0", "101x1x1", "1x101x1",
                             "1x1x1001", "1x1x1x", "axbxc"}) {
        CommandLine line;
        line.source = "wave";
        line.waveSize = size;
        EXPECT_THROW(MakeSource(line), std::runtime_error) << size;
    }
}

TEST(GatewayOptions, RefuseTwoLimitsOfOneKindForOnePoint) {
    CommandLine line;
    line.alarms = {"01010000>1", "01010000>2"};
    EXPECT_THROW(MakeThresholds(line, kOnePoint), std::runtime_error);
}

}  // namespace
}  // namespace corvenna::test
