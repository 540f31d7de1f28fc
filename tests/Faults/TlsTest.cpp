// Whom the library speaks to over TLS, and when it believes that it has heard everything.
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
        std::string pattern = "/tmp/velmor-tls-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no directory for certificates");
        folder = pattern;
        std::ofstream(folder / "ca.cnf")
            << "[ca]\ndefault_ca=d\n[d]\ndatabase=index\nnew_certs_dir=.\npolicy=p\n"
               "unique_subject=no\nrand_serial=yes\nemail_in_dn=no\n[p]\ncommonName=supplied\n";
        std::ofstream(folder / "index");
        for (const char* root : {"root", "stranger"})
            issue(root, {"basicConstraints=critical,CA:TRUE", "self"});
        issue("middle", {"basicConstraints=critical,CA:TRUE"});
        issue("user", {"basicConstraints=critical,CA:FALSE"});
    }
    Authority(const Authority&) = delete;
    Authority& operator=(const Authority&) = delete;
    ~Authority() { fs::remove_all(folder); }

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

    fs::path folder;
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

struct Certificate {
    const char* name;
    Leaf leaf;
    const char* then = "insecure";
    const char* manner = "whole";
    const char* host = "127.0.0.1";
};

// The name "localhost", a zero and a name that an authority would certify.
constexpr const char* kZero =
    "subjectAltName=DER:30:16:82:14:6c:6f:63:61:6c:68:6f:73:74:00:2e:65:76:69:6c:2e:74:65:73:74";

const std::vector<Certificate>& certificates() {
    static const std::vector<Certificate> rows{
        {"tls/trusted", {}, "upload 1"},
        {"tls/trusted-by-name", {"subjectAltName=DNS:localhost"}, "upload 1", "whole", "localhost"},
        {"tls/trusted-chain", {.signer = "middle", .chain = true}, "upload 1"},
        {"tls/expired", {.to = "20200201000000Z"}},
        {"tls/not-yet-valid", {.from = "20980101000000Z"}},
        {"tls/wrong-host", {"subjectAltName=DNS:velmor.example"}},
        {"tls/zero-in-name", {kZero}, "insecure", "whole", "localhost"},
        {"tls/no-name", {"basicConstraints=CA:FALSE"}},
        {"tls/self-signed", {.signer = "self"}},
        {"tls/unknown-root", {.signer = "stranger"}},
        {"tls/unknown-root-sent", {.signer = "stranger", .chain = true}},
        {"tls/missing-intermediate", {.signer = "middle"}},
        {"tls/signed-by-no-authority", {.signer = "user", .chain = true}},
        {"tls/wrong-usage", {"subjectAltName=IP:127.0.0.1\nextendedKeyUsage=clientAuth"}},
        {"tls/weak-key", {.key = "rsa:1024"}},
        {"tls/weak-signature", {.digest = "sha1"}},
        {"tls/old-protocol", {}, "cannotConnect", "old"}};
    return rows;
}

struct Ending {
    const char* name;
    const char* answer;
    const char* manner;
    const char* then;
};

constexpr const char* kHead = "HTTP/1.1 200 OK\\r\\n";
const std::vector<Ending>& endings() {
    static const std::vector<Ending> rows{
        {"tls/cut-known-length", "Content-Length: 99\\r\\n\\r\\n{}", "cut", "cannotConnect"},
        {"tls/cut-chunks", "Transfer-Encoding: chunked\\r\\n\\r\\n2\\r\\n{}\\r\\n", "cut", "cannotConnect"},
        {"tls/cut-headers", "X: y\\r\\n", "cut", "cannotConnect"},
        {"tls/cut-untold-length", "\\r\\n{}", "cut", "cannotConnect"},
        {"tls/untold-length", "\\r\\n{}", "whole", "upload 1"},
        {"tls/cut-behind-the-end", "Content-Length: 2\\r\\n\\r\\n{}", "cut", "upload 1"}};
    return rows;
}

struct Environment {
    const char* name;
    const char* variable;
    std::string value;
};

std::vector<Environment> environments(const fs::path& folder) {
    return {{"trust/certificate-file", "SSL_CERT_FILE", folder / "root.crt"},
            {"trust/certificate-folder", "SSL_CERT_DIR", folder / "hashed"},
            {"trust/bundle", "CURL_CA_BUNDLE", folder / "root.crt"}};
}

constexpr const char* kKeyLog = "trust/key-log";
constexpr const char* kGood = "HTTP/1.1 200 OK\\r\\nContent-Length: 2\\r\\n\\r\\n{}";

TEST(TlsFaults, Certificates) {
    const Authority authority;
    Client client({.caFile = authority.folder / "root.crt"});
    for (const auto& [name, leaf, then, manner, host] : certificates()) {
        SCOPED_TRACE(name);
        TlsPeer peer(authority.issue("leaf", leaf), kGood, manner);
        client.check({name, {}, then}, peer.url(host));
        const bool told = peer.heard().find(kKey) != std::string::npos;
        EXPECT_EQ(told, std::string_view(then) == "upload 1") << name;
    }
    std::ifstream keys(kKeys);
    EXPECT_EQ(keys.peek(), EOF) << kKeyLog;
    std::remove(kKeys.c_str());
}

TEST(TlsFaults, Endings) {
    const Authority authority;
    Client client({.caFile = authority.folder / "root.crt"});
    for (const auto& [name, answer, manner, then] : endings()) {
        const TlsPeer peer(authority.issue("leaf", {}), std::string(kHead) + answer, manner);
        client.check({name, {}, then}, peer.url("127.0.0.1"));
    }
}

TEST(TlsFaults, NoVariableAddsATrustedRoot) {
    const Authority authority;
    authority.run("mkdir hashed && cp root.crt hashed && openssl rehash hashed");
    for (const auto& [name, variable, value] : environments(authority.folder)) {
        const Variable set(variable, value);
        TlsPeer peer(authority.issue("leaf", {}), kGood, "whole");
        Client().check({name, {}, "insecure"}, peer.url("127.0.0.1"));
        EXPECT_EQ(peer.heard().find(kKey), std::string::npos) << name;
    }
}

}  // namespace

Names tlsNames() {
    Names names = namesOf(certificates());
    for (const auto& row : endings()) names.emplace_back(row.name);
    for (const auto& row : environments({})) names.emplace_back(row.name);
    names.emplace_back(kKeyLog);
    return names;
}

}  // namespace Velmor::Faults
