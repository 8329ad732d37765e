// sharing INGEST STORE CA_FILE: uses libcurl, OpenSSL and SQLite for itself before, while and after
// the SDK does.

#include "Host.h"

#include <curl/curl.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <sqlite3.h>

#include <string>

namespace {

std::size_t ignore(char *, std::size_t size, std::size_t count, void *) {
    return size * count;
}

void fetch(const char *address, const char *certificateAuthorityFile) {
    CURL *handle = curl_easy_init();
    REQUIRE(handle != nullptr);
    curl_easy_setopt(handle, CURLOPT_URL, (std::string(address) + "own").c_str());
    curl_easy_setopt(handle, CURLOPT_CAINFO, certificateAuthorityFile);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, ignore);
    REQUIRE(curl_easy_perform(handle) == CURLE_OK);
    curl_easy_cleanup(handle);
}

void digest() {
    unsigned char sum[EVP_MAX_MD_SIZE];
    REQUIRE(EVP_Digest("x", 1, sum, nullptr, EVP_sha256(), nullptr) == 1);
    REQUIRE(ERR_peek_error() == 0); // the thread's queue of errors holds none of the SDK's
}

void query(sqlite3 *database, const char *statement) {
    REQUIRE(sqlite3_exec(database, statement, nullptr, nullptr, nullptr) == SQLITE_OK);
}

} // namespace

int main(int, char **argv) {
    const char *address = argv[1];
    const char *authorities = argv[3];
    sqlite3 *database = nullptr;
    REQUIRE(curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK);
    REQUIRE(sqlite3_open(":memory:", &database) == SQLITE_OK);
    query(database, "CREATE TABLE numbers(number); INSERT INTO numbers VALUES(1)");
    fetch(address, authorities);

    configure(address, argv[2], authorities);
    start();
    changeConsent("first");
    fetch(address, authorities);
    settle();
    digest();

    curl_global_cleanup(); // the SDK's own initialisation stands
    changeConsent("second");
    settle();

    REQUIRE(curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK);
    fetch(address, authorities);
    curl_global_cleanup();
    query(database, "UPDATE numbers SET number = number + 1");
    REQUIRE(sqlite3_close(database) == SQLITE_OK);
    digest();
    changeConsent("third");
    settle();
}
