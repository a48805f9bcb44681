// What may be wrong with the TLS of a server, met by every entry point. Peers are not verified, so
// no certificate is a reason to fail.

#include <gtest/gtest.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "base/handle.h"
#include "base/text.h"
#include "config/sys_set.h"
#include "plugin/instances.h"
#include "tests/plugin/gateway.h"
#include "tests/plugin/world.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

using Certificate = std::unique_ptr<X509, FreedBy<X509_free>>;
using Memory = std::unique_ptr<BIO, FreedBy<BIO_free_all>>;

/// A gateway whose server speaks TLS in some way.
class TlsWorld {
public:
    explicit TlsWorld(Protocol protocol = Protocol::kHttps) : server_(protocol) {
        Configure(server_, {"json", Protocol::kHttps, false});
        WriteFile(kWorldFile, "content");
    }

    ScriptedServer &Server() { return server_; }
    void ExpectAllWork() { ExpectAllWorkOn(server_); }

    Certificate Shown() const {
        const std::string pem = server_.Certificate();
        const Memory memory(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
        return Certificate(PEM_read_bio_X509(memory.get(), nullptr, nullptr, nullptr));
    }

private:
    ScriptedServer server_;
};

TEST(TlsCertificate, ThatIsSelfSignedIsTaken) {
    TlsWorld world;
    EXPECT_EQ(X509_self_signed(world.Shown().get(), 1), 1);
    ExpectAllWorkOn(world.Server());
}

TEST(TlsCertificate, OfAnotherNameIsTaken) {
    TlsWorld world;
    EXPECT_EQ(X509_check_ip_asc(world.Shown().get(), "127.0.0.1", 0), 0);
    EXPECT_EQ(X509_check_host(world.Shown().get(), "127.0.0.1", 0, 0, nullptr), 0);
    world.ExpectAllWork();
}

TEST(TlsCertificate, ThatHasExpiredIsTaken) {
    TlsWorld world(Protocol::kTlsExpired);
    EXPECT_LT(X509_cmp_current_time(X509_get0_notAfter(world.Shown().get())), 0);
    world.ExpectAllWork();
}

TEST(TlsCertificate, IsTakenWhereTheCaFileIsMissing) {
    TlsWorld world;
    for (const char *missing : {"/quorvane/none.pem", "/quorvane", ""}) {
        SCOPED_TRACE(missing);
        CopyText<127>(GetCSysSetInstance()->GetHttpsCertInfo()->certfile, missing);
        world.ExpectAllWork();
    }
}

TEST(TlsCertificate, IsTakenWhereTheCaFileIsGarbage) {
    TlsWorld world;
    WriteFile("/quorvane/ca.pem", std::string(100000, '\xff'));
    world.ExpectAllWork();
}

/// Every entry point fails against a server that speaks so, and works against one that is well.
void ExpectNoHandshakeWith(Protocol protocol) {
    {
        TlsWorld world(protocol);
        ExpectAllFail("SSL connect error");
        ExpectDownloadEnds();
    }
    TlsWorld well;
    well.ExpectAllWork();
}

TEST(TlsHandshake, OfATooOldVersionFails) {
    ExpectNoHandshakeWith(Protocol::kTlsTooOld);
}

TEST(TlsHandshake, ThatIsBrokenOffFails) {
    ExpectNoHandshakeWith(Protocol::kTlsClosedInHandshake);
}

TEST(TlsHandshake, OfGarbageFails) {
    TlsWorld world;
    const std::string heads[] = {"HTTP/1.1 400 Bad Request\r\n\r\n", std::string(20000, '\xff'),
                                 std::string("\x16\x03\x03\x00\x02\x02\x00", 7)};
    for (const std::string &garbage : heads) {
        for (const EntryPoint &entry : EntryPoints()) {
            world.Server().Next({[garbage](Exchange &exchange) {
                                     exchange.Send(garbage);
                                     exchange.Close();
                                 },
                                 Stage::kAccept});
            ExpectFails(entry, "");
        }
    }
    world.ExpectAllWork();
}

TEST(CookieStore, ThatIsDamagedStopsNothing) {
    TlsWorld world;
    const std::string damages[] = {"", std::string(100000, '\xff'), "no\tcookie\tat\tall\n",
                                   std::string(5000, '\n'), std::string("\0\0\0", 3)};
    for (const std::string &damage : damages) {
        WriteFile("/tmp/dev-web.cookie", damage);
        world.ExpectAllWork();
    }
    ASSERT_EQ(unlink("/tmp/dev-web.cookie"), 0);
    ASSERT_EQ(mkdir("/tmp/dev-web.cookie", 0700), 0);
    world.ExpectAllWork();
}

}  // namespace
}  // namespace corvenna::test
