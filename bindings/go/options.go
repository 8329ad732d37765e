package velmorakit

// #include "bridge.h"
import "C"

import "unsafe"

// Options are what a host may say before the start; empty, zero and false mean the default, and
// docs/reference.md explains each.
type Options struct {
	StorePath                string
	BundleIdentifier         string
	AppVersion               string
	InformationDictionary    string // a JSON object
	IngestBaseAddress        string
	SystemVersion            string
	IdentifierForVendor      string
	AdvertisingIdentifier    string
	TrackingStatus           uint32
	LegacyTracking           bool
	CertificateAuthorityFile string
	PinnedPublicKey          string
	AllowProxy               bool
	StoreCompanion           bool
	KeepUnsent               bool
	SharedFolder             bool
	// Log receives each line, on any goroutine, and must not call the package.
	Log func(line string)
}

var log func(line string)

func (options Options) configure() error {
	var given C.velmora_options
	C.velmora_options_init(&given, C.sizeof_velmora_options)
	for _, text := range []struct {
		from string
		to   **C.char
		name string
	}{
		{options.StorePath, &given.store_path, "store_path"},
		{options.BundleIdentifier, &given.bundle_identifier, "bundle_identifier"},
		{options.AppVersion, &given.app_version, "app_version"},
		{options.InformationDictionary, &given.information_dictionary, "information_dictionary"},
		{options.IngestBaseAddress, &given.ingest_base_address, "ingest_base_address"},
		{options.SystemVersion, &given.system_version, "system_version"},
		{options.IdentifierForVendor, &given.identifier_for_vendor, "identifier_for_vendor"},
		{options.AdvertisingIdentifier, &given.advertising_identifier, "advertising_identifier"},
		{options.CertificateAuthorityFile, &given.certificate_authority_file, "certificate_authority_file"},
		{options.PinnedPublicKey, &given.pinned_public_key, "pinned_public_key"},
	} {
		if text.from == "" {
			continue
		}
		copied, err := cText(text.from, "velmora_configure", text.name)
		if err != nil {
			return err
		}
		defer C.free(unsafe.Pointer(copied))
		*text.to = copied
	}
	given.tracking_status = C.uint32_t(options.TrackingStatus)
	given.legacy_tracking = number(options.LegacyTracking)
	given.allow_proxy = number(options.AllowProxy)
	given.store_companion = number(options.StoreCompanion)
	given.keep_unsent = number(options.KeepUnsent)
	given.shared_folder = number(options.SharedFolder)
	if log = options.Log; log != nil {
		C.bridge_log(&given)
	}
	return check("velmora_configure", C.velmora_configure(&given))
}

func number(flag bool) C.uint32_t {
	if flag {
		return 1
	}
	return 0
}

//export goLog
func goLog(line *C.char, length C.size_t) {
	log(C.GoStringN(line, C.int(length)))
}
