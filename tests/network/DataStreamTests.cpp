#include "errors/VMRError.h"
#include "network/DataCoding.h"
#include "network/VMRNetworkManager.h"
#include "platform/JSON.h"
#include "support/TestPlatform.h"

#include <gtest/gtest.h>

namespace vmr::test {
namespace {

// SHA-1 of "s3/consents/k1/" and "s3/devices_errors/k1/", made by another program.
constexpr const char *consentsToken = "Token token=cfcae591b6614edc32991893f2afc5082d99e479";
constexpr const char *errorsToken = "Token token=c496bc0209afb8f917fb83d8a6fe44859a452660";

class DataStream : public testing::Test {
protected:
    void SetUp() override { manager->setApiKey("k1", "s3", {}); }
    void post(VMRIngestType type, const std::optional<List> &items = List(),
              const Dictionary &parameters = {}) {
        manager->postDatas(
            items, type, parameters, [this](const Value &object) { response = object; },
            [this](std::int64_t errorStatus, std::shared_ptr<VMRError> error) {
                status = errorStatus;
                record = std::move(error);
            });
    }
    HTTPRequest lastSent() {
        HTTPRequest request = services.http->sent().back();
        EXPECT_TRUE(request.body.make());
        return request;
    }
    std::string header(const char *name) { return ScriptedHTTPSession::header(lastSent(), name); }
    Value lastBody() {
        const HTTPRequest request = lastSent();
        const Data body{std::string(request.body.bytes())};
        return std::get<Value>(readJSON(gunzippedData(body)->bytes()));
    }

    TestPlatform services;
    std::shared_ptr<VMRNetworkManager> manager = std::make_shared<VMRNetworkManager>();
    Value response;
    std::int64_t status = -1;
    std::shared_ptr<VMRError> record;
};

TEST_F(DataStream, HeadersAreTheFixedSet) {
    const Dictionary expected{{"Authorization", Value::string(consentsToken)},
                              {"Accept", Value::string("application/json")},
                              {"Content-Type", Value::string("application/json")},
                              {"X-Api-Key", Value::string("k1")},
                              {"X-Bundle-Identifier", Value::string("com.example.host")}};
    const auto plain = manager->authVMRHeaderForRelativeURL("consents", false);
    EXPECT_TRUE(Value::dictionary(plain).isEqualTo(Value::dictionary(expected)));

    auto compressed = manager->authVMRHeaderForRelativeURL("consents", true);
    EXPECT_EQ(valueForKey(compressed, "Content-Encoding").description(), "gzip");
    compressed.erase("Content-Encoding");
    EXPECT_TRUE(Value::dictionary(compressed).isEqualTo(Value::dictionary(expected)));
}

TEST_F(DataStream, WhatIsMissingIsSignedAsNull) {
    services.bundle->identifier.reset();
    manager->setApiKey(std::nullopt);
    manager->setSecret(std::nullopt);
    const auto headers = manager->authVMRHeaderForRelativeURL(std::nullopt, false);
    // SHA-1 of "(null)/(null)/(null)/".
    EXPECT_EQ(valueForKey(headers, "Authorization").description(),
              "Token token=43a8cf225aa9e3e802a6042bfc3f5c8ecfcf3d94");
    EXPECT_EQ(valueForKey(headers, "X-Bundle-Identifier").description(), "(null)");
    EXPECT_FALSE(headers.contains("X-Api-Key"));
}

TEST_F(DataStream, PathsSignedAndRequestedDiffer) {
    post(VMRIngestTypeConsents);
    EXPECT_EQ(lastSent().url, "http://127.0.0.1:9/ingest/1.0/consents");
    EXPECT_EQ(lastSent().method, "POST");
    EXPECT_EQ(header("Authorization"), consentsToken);
    EXPECT_EQ(header("Content-Encoding"), "gzip");

    post(VMRIngestTypeDevicesErrors);
    EXPECT_EQ(lastSent().url, "http://127.0.0.1:9/ingest/devices_errors");
    EXPECT_EQ(header("Authorization"), errorsToken);

    post(3);
    EXPECT_EQ(lastSent().url, "http://127.0.0.1:9/ingest/(null)");
    EXPECT_EQ(manager->ingestUrlWithType(3, true), std::nullopt);
    EXPECT_EQ(manager->ingestUrlWithType(2, true), "devices_errors");
}

TEST_F(DataStream, BodyHoldsTheItemsAndTheEnvelope) {
    const List items{Value::dictionary({{"n", Value::integer(1)}})};
    const Dictionary envelope{{"os", Value::string("ios")}};
    post(VMRIngestTypeConsents, items, envelope);
    EXPECT_TRUE(lastBody().isEqualTo(
        Value::dictionary({{"batch", Value::list(items)}, {"os", Value::string("ios")}})));

    post(VMRIngestTypeConsents, items, {{"batch", Value::string("mine")}});
    EXPECT_TRUE(lastBody().isEqualTo(Value::dictionary({{"batch", Value::string("mine")}})));

    post(VMRIngestTypeConsents, std::nullopt, envelope);
    EXPECT_TRUE(lastBody().isEqualTo(Value::dictionary(envelope)));
}

TEST_F(DataStream, DeepestValueThatCanBeReadDoesNotCostTheBody) {
    const auto deepest = readJSON(std::string(512, '[') + std::string(512, ']'));
    const Dictionary item{{"consentString", std::get<Value>(deepest)}};
    post(VMRIngestTypeConsents, List{Value::dictionary(item)});
    EXPECT_TRUE(lastSent().body.isPresent());
}

TEST_F(DataStream, OutcomeIsHandedOnAndFailuresNameTheSignedPath) {
    post(VMRIngestTypeConsents);
    services.http->answer(0, 200, "[7]");
    services.loops->runDue();
    EXPECT_TRUE(response.isEqualTo(Value::list({Value::integer(7)})));
    EXPECT_EQ(status, -1);

    post(VMRIngestTypeConsents);
    services.http->answer(1, 503);
    services.loops->runDue();
    EXPECT_EQ(status, 503);
    EXPECT_EQ(record->message(), "Error API DataStreamApi consents");
    EXPECT_EQ(valueForKey(*record->metadata(), "status_code").description(), "503");

    services.guard->decision.allowed = false;
    post(VMRIngestTypeConsents);
    services.loops->runDue();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(record, nullptr);

    services.guard->decision.allowed = true;
    for (const std::int64_t answer : {200, 500}) {
        manager->postDatas(List(), VMRIngestTypeConsents, {}, nullptr, nullptr);
        services.http->answer(services.http->sentCount() - 1, answer);
    }
    services.loops->runDue();
}

TEST_F(DataStream, RequestIsDescribedBehindTheGate) {
    post(VMRIngestTypeConsents);
    EXPECT_TRUE(services.log->lines().empty());

    services.bundle->information["VMRLogsEnabled"] = Value::boolean(true);
    post(VMRIngestTypeConsents, List{Value::integer(1)});
    EXPECT_EQ(services.log->count("[VMR] -> performing POST request on "
                                  "\"http://127.0.0.1:9/ingest/1.0/consents\""),
              1u);
    EXPECT_EQ(services.log->count("[VMR] -> with param :{\n  \"batch\" : [\n    1\n  ]\n}"), 1u);
    EXPECT_EQ(services.log->countContaining(consentsToken), 1u);
}

} // namespace
} // namespace vmr::test
