package velmorakit

// #include "bridge.h"
import "C"

import (
	"encoding/json"
	"reflect"
	"unicode/utf8"
	"unsafe"
)

// Options are what a host may say before the start; empty, zero and false mean the default, and
// docs/reference.md explains each.
type Options struct {
	StorePath                string `json:"store_path,omitempty"`
	BundleIdentifier         string `json:"bundle_identifier,omitempty"`
	AppVersion               string `json:"app_version,omitempty"`
	InformationDictionary    string `json:"information_dictionary,omitempty"` // a JSON object
	IngestBaseAddress        string `json:"ingest_base_address,omitempty"`
	SystemVersion            string `json:"system_version,omitempty"`
	IdentifierForVendor      string `json:"identifier_for_vendor,omitempty"`
	AdvertisingIdentifier    string `json:"advertising_identifier,omitempty"`
	TrackingStatus           uint32 `json:"tracking_status,omitempty"`
	LegacyTracking           bool   `json:"legacy_tracking,omitempty"`
	CertificateAuthorityFile string `json:"certificate_authority_file,omitempty"`
	PinnedPublicKey          string `json:"pinned_public_key,omitempty"`
	AllowProxy               bool   `json:"allow_proxy,omitempty"`
	StoreCompanion           bool   `json:"store_companion,omitempty"`
	KeepUnsent               bool   `json:"keep_unsent,omitempty"`
	SharedFolder             bool   `json:"shared_folder,omitempty"`
	// Log receives each line, on any goroutine, and must not call the package.
	Log func(line string) `json:"-"`
}

var log func(line string)

func (options Options) configure() error {
	const function = "velmora_configure_json"
	for i, fields := 0, reflect.ValueOf(options); i < fields.NumField(); i++ {
		if text, ok := fields.Field(i).Interface().(string); ok && !utf8.ValidString(text) {
			message := fields.Type().Field(i).Name + " is not valid UTF-8: convert it first"
			return &Error{InvalidUTF8, function, message}
		}
	}
	given, err := json.Marshal(options)
	if err != nil {
		return err
	}
	text := C.CString(string(given))
	defer C.free(unsafe.Pointer(text))
	if err := check(function, C.velmora_configure_json(text)); err != nil || options.Log == nil {
		return err
	}
	log = options.Log
	return check("velmora_set_log_sink", C.bridge_log())
}

//export goLog
func goLog(line *C.char, length C.size_t) {
	log(C.GoStringN(line, C.int(length)))
}
