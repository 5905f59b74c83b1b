#include "TestCertificate.h"

#include <QFile>
#include <QSslCertificate>
#include <QSslKey>

#include <openssl/bio.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <memory>
#include <stdexcept>

namespace brindle {

namespace {

struct Free
{
    void operator()(EVP_PKEY *key) const { EVP_PKEY_free(key); }
    void operator()(X509 *certificate) const { X509_free(certificate); }
    void operator()(X509_EXTENSION *extension) const { X509_EXTENSION_free(extension); }
    void operator()(BIO *bio) const { BIO_free(bio); }
};

void require(bool done)
{
    if (!done) {
        throw std::runtime_error("the test's certificate could not be made");
    }
}

void extend(X509 *certificate, int what, const char *value)
{
    const std::unique_ptr<X509_EXTENSION, Free> extension(
        X509V3_EXT_conf_nid(nullptr, nullptr, what, value));
    require(extension && X509_add_ext(certificate, extension.get(), -1) == 1);
}

template <typename T, typename Read>
std::unique_ptr<T, Free> parsed(const QByteArray &text, Read read)
{
    const std::unique_ptr<BIO, Free> source(
        BIO_new_mem_buf(text.constData(), static_cast<int>(text.size())));
    std::unique_ptr<T, Free> result(read(source.get(), nullptr, nullptr, nullptr));
    require(result != nullptr);
    return result;
}

QByteArray contentOf(BIO *bio)
{
    char *data = nullptr;
    const long size = BIO_get_mem_data(bio, &data);
    return QByteArray(data, size);
}

} // namespace

TestCertificate TestCertificate::make(const Options &options)
{
    const std::unique_ptr<EVP_PKEY, Free> key(EVP_EC_gen("P-256"));
    const std::unique_ptr<X509, Free> certificate(X509_new());
    require(key && certificate);
    require(X509_set_version(certificate.get(), X509_VERSION_3) == 1);
    require(ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1) == 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), options.from);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), options.until);
    require(X509_set_pubkey(certificate.get(), key.get()) == 1);
    X509_NAME *const name = X509_get_subject_name(certificate.get());
    require(X509_NAME_add_entry_by_txt(
                name, "CN", MBSTRING_ASC,
                reinterpret_cast<const unsigned char *>(options.subject.constData()), -1, -1,
                0) == 1);
    extend(certificate.get(), NID_basic_constraints,
           options.authority ? "critical,CA:FALSE" : "critical,CA:TRUE");
    extend(certificate.get(), NID_subject_alt_name, options.names.constData());
    if (options.authority) {
        const auto authority = parsed<X509>(options.authority->certificate, PEM_read_bio_X509);
        const auto signer = parsed<EVP_PKEY>(options.authority->key, PEM_read_bio_PrivateKey);
        require(X509_set_issuer_name(certificate.get(), X509_get_subject_name(authority.get())) ==
                1);
        require(X509_sign(certificate.get(), signer.get(), EVP_sha256()) > 0);
    } else {
        require(X509_set_issuer_name(certificate.get(), name) == 1);
        require(X509_sign(certificate.get(), key.get(), EVP_sha256()) > 0);
    }

    const std::unique_ptr<BIO, Free> certificateText(BIO_new(BIO_s_mem()));
    const std::unique_ptr<BIO, Free> keyText(BIO_new(BIO_s_mem()));
    require(certificateText && keyText);
    require(PEM_write_bio_X509(certificateText.get(), certificate.get()) == 1);
    require(PEM_write_bio_PKCS8PrivateKey(keyText.get(), key.get(), nullptr, nullptr, 0, nullptr,
                                          nullptr) == 1);
    return {contentOf(certificateText.get()), contentOf(keyText.get())};
}

void TestCertificate::save(const QString &file) const
{
    QFile out(file);
    if (!out.open(QIODevice::WriteOnly) || out.write(certificate) != certificate.size()) {
        throw std::runtime_error("can't write " + file.toStdString());
    }
}

QSslConfiguration TestCertificate::serverConfiguration() const
{
    QSslConfiguration configuration;
    configuration.setLocalCertificate(QSslCertificate(certificate));
    configuration.setPrivateKey(QSslKey(key, QSsl::Ec));
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    return configuration;
}

} // namespace brindle
