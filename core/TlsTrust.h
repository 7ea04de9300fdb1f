#pragma once

namespace Tessary {

/**
 * Which certificate authorities the process trusts for HTTPS.
 *
 * OpenSSL clients on Linux (curl, git, Python) take an extra or replacement bundle of roots from the file named by
 * SSL_CERT_FILE, which is how company proxies and private services are usually trusted. Qt's OpenSSL back end reads
 * only the system's certificate folders, so the application adds that file itself.
 */
namespace TlsTrust {

/**
 * Adds the certificates in the PEM file named by SSL_CERT_FILE to Qt's default TLS configuration, next to the
 * system's roots. Does nothing when the variable is unset, names one of the system's own bundles, or the file holds
 * no certificate. Returns the number of certificates added. Call once on the main thread, before the first
 * connection. With a bundle of its own this costs about a third of a second: the system's roots are parsed too.
 */
int addRootsFromEnvironment();

} // namespace TlsTrust

} // namespace Tessary
