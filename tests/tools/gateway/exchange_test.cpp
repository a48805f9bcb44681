#include "tools/gateway/exchange.h"

#include <gtest/gtest.h>

namespace corvenna::test {
namespace {

using namespace gateway;

struct Said {
    std::vector<std::string> messages;
    std::string cause;
};

class FailedExchange : public testing::TestWithParam<Said> {};

TEST(CutBody, IsTheNoteWhateverIsSaidBehindIt) {
    const std::string cut = std::string("request body of 21000 characters ") + kCutBody;
    const Exchange exchange = ReadExchange(
        false, {"start post Devices info to http://c:1/device/GW1", cut + "\n",
                "curl_easy_perform() failed when post: No error,httpcode =400",
                "post Devices info to http://c:1/device/GW1 finish", "post Devices failed\n"});
    EXPECT_EQ(exchange.note, cut);
    EXPECT_EQ(exchange.status, 400);
}

TEST_P(FailedExchange, TellsItsCause) {
    EXPECT_EQ(Cause(ReadExchange(false, GetParam().messages)), GetParam().cause);
}

const std::string kUrl = "http://cloud.example:8080/plant/realdata/GW1";

INSTANTIATE_TEST_SUITE_P(
    All, FailedExchange,
    testing::Values(
        Said{{"start Send realdata /d/S1.json to " + kUrl + " \n",
              "start Send file /d/S1.json to " + kUrl,
              "send file /d/S1.json failed: No error,httpcode =404",
              "Send realdata /d/S1.json to " + kUrl + " finish\n"},
             "refused with 404 for " + kUrl + "; is the path prefix right?"},
        Said{{"start Send file /d/S1.json to " + kUrl,
              "send file /d/S1.json failed: No error,httpcode = 418"},
             "refused with 418 for " + kUrl},
        Said{{"start Send file /d/S1.json to " + kUrl,
              "send file /d/S1.json failed: Couldn't connect to server,httpcode =0"},
             "no answer from " + kUrl + ": Couldn't connect to server"},
        Said{{"start Send file /d/S1.json to " + kUrl,
              "send file /d/S1.json failed: Transferred a partial file,httpcode =200"},
             kUrl + " answered 200, but: Transferred a partial file"},
        Said{{"start post Devices info to https://c:1/gateway",
              "curl_easy_perform() failed:SSL connect error httpcode =0",
              "post Devices info to https://c:1/gateway finish", "Post GateWay failed\n"},
             "no answer from https://c:1/gateway: SSL connect error"},
        Said{{"start post Devices info to http://c:1/gateway",
              "post Devices info to http://c:1/gateway finish",
              "start post Devices info to http://c:1/device/GW1",
              "curl_easy_perform() failed when post: No error,httpcode =413"},
             "refused with 413 for http://c:1/device/GW1; it is too large for the server"},
        Said{{"start CheckRecall Time from http://c:1/calldata/GW1",
              "curl_easy_perform() failed: Timeout was reached when get info,httpcode = 0"},
             "no answer from http://c:1/calldata/GW1: Timeout was reached"},
        Said{{"start Delete Recall Time from https://c:1/calldata/GW1",
              "failed when delete: No error,httpcode =401"},
             "refused with 401 for https://c:1/calldata/GW1; are user and password right?"},
        Said{{"start Put status to https://c:1/downfile/GW1",
              "failed,errdesc:Server returned nothing (no headers, no data) httpcode =0"},
             "no answer from https://c:1/downfile/GW1: Server returned nothing (no headers, no "
             "data)"},
        Said{{"start Send realdata /d/S1.json to " + kUrl + " \n",
              "Can not find File /d/S1.json when send files\n"},
             "Can not find File /d/S1.json when send files"},
        Said{{"start Send realdata /d/S1.json to " + kUrl + " \n"}, "no answer from " + kUrl},
        Said{{}, "the plug-in's log tells why"}));

TEST(Exchange, HasNothingToTellOfASuccess) {
    const Exchange exchange = ReadExchange(
        true, {"start Send realdata /d/S1.json to " + kUrl + " \n",
               "Receive Response:\nhttpcode =500 failed", "Send file /d/S1.json Success",
               "Send realdata /d/S1.json to " + kUrl + " finish\n"});
    EXPECT_TRUE(exchange.succeeded);
    EXPECT_EQ(exchange.url, kUrl);
    EXPECT_EQ(exchange.status, 0);
    EXPECT_EQ(exchange.reason, "");
    EXPECT_EQ(exchange.note, "");
}

TEST(Exchange, KnowsAMessageThatTellsOfTrouble) {
    EXPECT_TRUE(TellsTrouble("down file 00 refused"));
    EXPECT_TRUE(TellsTrouble("recv file /a failed: Timeout was reached"));
    EXPECT_TRUE(TellsTrouble("compare down file md5 error,"));
    EXPECT_FALSE(TellsTrouble("start down file from http://c:1/failed"));
    EXPECT_FALSE(TellsTrouble("Receive Response:\nfailed"));
    EXPECT_FALSE(TellsTrouble("downfile thread exit"));
}

}  // namespace
}  // namespace corvenna::test
