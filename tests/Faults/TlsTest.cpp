// Whom the library speaks to over TLS, and when it believes that it has heard everything.
#include "../TemporaryDirectory.hpp"
#include "Client.hpp"
#include "Here.hpp"

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <gmock/gmock.h>

namespace Velmor::Faults {
namespace {

namespace fs = std::filesystem;

constexpr const char* kHere = "subjectAltName=IP:127.0.0.1";
constexpr const char* kCurve = "ec -pkeyopt ec_paramgen_curve:P-256";
const std::string kKeys = "/tmp/velmor-keys-" + std::to_string(getpid());
const bool kKeysWanted =
    setenv("SSLKEYLOGFILE", kKeys.c_str(), 1) == 0;  // libcurl looks once, when it is first used

/// As `openssl` takes them.
struct Leaf {
    const char* extensions = kHere;
    const char* signer = "root";  ///< a certificate made before; "self" for none
    const char* from = "20200101000000Z";
    const char* to = "20991231000000Z";
    const char* digest = "sha256";
    const char* key = kCurve;
    bool chain = false;  ///< sends its signer along
};

/// Certificates in a directory of their own.
class Authority {
  public:
    Authority() {
        std::ofstream(folder / "ca.cnf")
            << "[ca]\ndefault_ca=d\n[d]\ndatabase=index\nnew_certs_dir=.\npolicy=p\n"
               "unique_subject=no\nrand_serial=yes\nemail_in_dn=no\n[p]\ncommonName=supplied\n";
        const std::ofstream index(folder / "index");
        for (const char* root : {"root", "stranger"})
            issue(root, {"basicConstraints=critical,CA:TRUE", "self"});
        issue("middle", {"basicConstraints=critical,CA:TRUE"});
        issue("user", {"basicConstraints=critical,CA:FALSE"});
    }
    /// Path of a file with key and certificate.
    std::string issue(const std::string& name, const Leaf& leaf) const {
        std::ofstream(folder / "extensions") << leaf.extensions << '\n';
        const std::string signer = leaf.signer == std::string("self") ? name : leaf.signer;
        run("openssl req -nodes -subj /CN=" + name + " -newkey " + leaf.key + " -keyout " + name +
            ".key -out csr");
        run("openssl ca -batch -notext -config ca.cnf -extfile extensions -in csr -out " + name +
            ".crt -md " + leaf.digest + " -startdate " + leaf.from + " -enddate " + leaf.to + " -keyfile " +
            signer + ".key" + (signer == name ? " -selfsign" : " -cert " + signer + ".crt"));
        run("cat " + name + ".key " + name + ".crt " + (leaf.chain ? signer + ".crt" : "") + " > " + name +
            ".pem");
        return folder / (name + ".pem");
    }
    void run(const std::string& command) const {
        if (std::system(("cd " + folder.string() + " && { " + command + "; } >log 2>&1").c_str()) != 0)
            throw std::runtime_error("failed: " + command);
    }

    const VelmorTests::TemporaryDirectory place;
    const fs::path folder = place.path;
};

class TlsPeer {
  public:
    TlsPeer(const std::string& certificate, const std::string& answer, const std::string& manner)
        : output_(popen(("exec /usr/bin/python3 -W ignore " VELMOR_SOURCE_DIR "/tests/Faults/tls_peer.py " +
                         certificate + " '" + answer + "' " + manner + " 2>&1")
                            .c_str(),
                        "r")) {
        if (fscanf(output_, "%d %d", &process_, &port_) != 2)
            throw std::runtime_error("the TLS peer does not start: " + heard());
    }
    TlsPeer(const TlsPeer&) = delete;
    TlsPeer& operator=(const TlsPeer&) = delete;
    ~TlsPeer() { heard(); }

    std::string url(const std::string& host) const {
        return "https://" + host + ":" + std::to_string(port_) + "/";
    }

    /// Everything; it is gone afterwards.
    std::string heard() {
        std::string all;
        if (output_ == nullptr) return all;
        if (process_ > 0) kill(process_, SIGKILL);
        for (int c = 0; (c = fgetc(output_)) != EOF;) all.push_back(static_cast<char>(c));
        pclose(std::exchange(output_, nullptr));
        return all;
    }

  private:
    FILE* output_;
    int process_ = 0;
    int port_ = 0;
};

constexpr const char* kHost = "127.0.0.1";
constexpr const char* kOk = "Content-Length: 2\\r\\n\\r\\n{}";

struct Row {
    const char* name;
    Leaf leaf;
    const char* then = "insecure";
    const char* answer = kOk;  ///< behind its status line
    const char* manner = "whole";
    const char* host = kHost;
    const char* variable = nullptr;  ///< of the environment: names the root, which nobody else does then
    const char* value = "root.crt";
};

// The name "localhost", a zero and a name that an authority would certify.
constexpr const char* kZero =
    "subjectAltName=DER:30:16:82:14:6c:6f:63:61:6c:68:6f:73:74:00:2e:65:76:69:6c:2e:74:65:73:74";

const std::vector<Row> kRows{
    {"tls/trusted", {}, "upload 1"},
    {"tls/trusted-by-name", {"subjectAltName=DNS:localhost"}, "upload 1", kOk, "whole", "localhost"},
    {"tls/trusted-chain", {.signer = "middle", .chain = true}, "upload 1"},
    {"tls/expired", {.to = "20200201000000Z"}},
    {"tls/not-yet-valid", {.from = "20980101000000Z"}},
    {"tls/wrong-host", {"subjectAltName=DNS:velmor.example"}},
    {"tls/zero-in-name", {kZero}, "insecure", kOk, "whole", "localhost"},
    {"tls/no-name", {"basicConstraints=CA:FALSE"}},
    {"tls/self-signed", {.signer = "self"}},
    {"tls/unknown-root", {.signer = "stranger"}},
    {"tls/unknown-root-sent", {.signer = "stranger", .chain = true}},
    {"tls/missing-intermediate", {.signer = "middle"}},
    {"tls/signed-by-no-authority", {.signer = "user", .chain = true}},
    {"tls/wrong-usage", {"subjectAltName=IP:127.0.0.1\nextendedKeyUsage=clientAuth"}},
    {"tls/weak-key", {.key = "rsa:1024"}},
    {"tls/weak-signature", {.digest = "sha1"}},
    {"tls/untold-length", {}, "upload 1", "\\r\\n{}"},
    {"tls/cut-untold-length", {}, "cannotConnect", "\\r\\n{}", "cut"},
    {"tls/cut-known-length", {}, "cannotConnect", "Content-Length: 99\\r\\n\\r\\n{}", "cut"},
    {"tls/cut-chunks", {}, "cannotConnect", "Transfer-Encoding: chunked\\r\\n\\r\\n2\\r\\n{}\\r\\n", "cut"},
    {"tls/cut-headers", {}, "cannotConnect", "X: y\\r\\n", "cut"},
    {"tls/cut-behind-the-end", {}, "upload 1", kOk, "cut"},
    {"trust/certificate-file", {}, "insecure", kOk, "whole", kHost, "SSL_CERT_FILE"},
    {"trust/certificate-folder", {}, "insecure", kOk, "whole", kHost, "SSL_CERT_DIR", "hashed"},
    {"trust/bundle", {}, "insecure", kOk, "whole", kHost, "CURL_CA_BUNDLE"}};
constexpr const char* kKeyLog = "trust/key-log";
const Row kOldProtocol{"tls/old-protocol", {}, "cannotConnect", kOk, "old"};

// Whether the peer heard the key.
bool meet(Client& client, const Authority& authority, const Row& row) {
    TlsPeer peer(authority.issue("leaf", row.leaf), "HTTP/1.1 200 OK\\r\\n" + std::string(row.answer),
                 row.manner);
    client.check({row.name, {}, row.then}, peer.url(row.host));
    return peer.heard().find(kKey) != std::string::npos;
}

TEST(TlsFaults, BelieveOnlyWhatIsInOrder) {
    const Authority authority;
    authority.run("mkdir hashed && cp root.crt hashed && openssl rehash hashed");
    const std::string root = authority.folder / "root.crt";
    Client client({.caFile = root}), systems;
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.name);
        const bool trusting = row.variable == nullptr;
        const Variable set(trusting ? "VELMOR_NO_VARIABLE" : row.variable, authority.folder / row.value);
        const bool told = meet(trusting ? client : systems, authority, row);
        EXPECT_EQ(told, row.then == std::string_view("upload 1") || row.manner == std::string_view("cut"));
    }
    std::ifstream keys(kKeys);
    EXPECT_EQ(keys.peek(), EOF) << kKeyLog;
    std::remove(kKeys.c_str());
}

// Most systems refuse old protocols by themselves, so that nobody would see whether the library does. OpenSSL
// reads its configuration once in a process, hence one of its own.
TEST(TlsFaults, RefuseOldProtocolsWhereTheSystemAllowsThem) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const VelmorTests::TemporaryDirectory place;
    const auto lenient = place.path / "openssl.cnf";
    std::ofstream(lenient) << "openssl_conf=init\n[init]\nssl_conf=ssl\n[ssl]\nsystem_default=any\n[any]\n"
                              "MinProtocol=None\nCipherString=ALL:@SECLEVEL=0\n"
                              "[req]\ndistinguished_name=name\n[name]\n";
    const Variable set("OPENSSL_CONF", lenient);
    const auto refuse = [] {
        const Authority authority;
        Client client({.caFile = authority.folder / "root.crt"});
        EXPECT_FALSE(meet(client, authority, kOldProtocol));
        std::exit(testing::Test::HasFailure() ? 1 : 0);
    };
    EXPECT_EXIT(refuse(), testing::ExitedWithCode(0), "");
}

}  // namespace

Names tlsNames() {
    Names names = namesOf(kRows);
    names.emplace_back(kOldProtocol.name);
    names.emplace_back(kKeyLog);
    return names;
}

}  // namespace Velmor::Faults
