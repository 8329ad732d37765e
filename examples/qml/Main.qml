import QtQml
import VelmoraKit

QtObject {
    id: application

    // What a page of the consent tool calls.
    function consentGiven(consent: string) {
        velmora.consent = consent
    }

    required property var surroundings
    readonly property bool started: velmora.started
    readonly property Velmora sdk: Velmora {
        id: velmora

        bundleIdentifier: "com.example.qml"
        appVersion: "1.0"
        keepUnsent: true // a string may be set at any time, also while a post is under way
        ingestBaseAddress: application.surroundings.VELMORA_INGEST ?? ""
        storePath: application.surroundings.VELMORA_STORE ?? ""
        apiKey: application.surroundings.VELMORA_API_KEY ?? ""
        secret: application.surroundings.VELMORA_SECRET ?? ""

        onConsentChanged: console.info("consent:", velmora.consent)
    }
}
