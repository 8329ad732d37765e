package velmorakit

// #include "bridge.h"
import "C"

import (
	"encoding/json"
	"unsafe"
)

// SetString sets a preference, a consent string above all, on the SDK's thread.
func (velmora *Velmora) SetString(key, text string) error {
	return velmora.Do(func() error {
		return withKey(key, "velmora_preferences_set_text", func(name *C.char) C.velmora_result {
			copied := C.CString(text)
			defer C.free(unsafe.Pointer(copied))
			return C.velmora_preferences_set_text(name, copied, C.size_t(len(text)))
		})
	})
}

// Set sets a preference to anything that encoding/json can say; what JSON lacks is a tagged object,
// map[string]any{"$date": seconds} for instance.
func (velmora *Velmora) Set(key string, value any) error {
	text, err := json.Marshal(value)
	if err != nil {
		return err
	}
	return velmora.Do(func() error {
		return withKey(key, "velmora_preferences_set_json", func(name *C.char) C.velmora_result {
			copied := C.CString(string(text))
			defer C.free(unsafe.Pointer(copied))
			return C.velmora_preferences_set_json(name, copied)
		})
	})
}

// Get reads a preference into what value points to, as encoding/json does.
func (velmora *Velmora) Get(key string, value any) error {
	name, err := cText(key, "velmora_preferences_get_json", "key")
	if err != nil {
		return err
	}
	defer C.free(unsafe.Pointer(name))
	text, err := takeText("velmora_preferences_get_json", func(text **C.char) C.velmora_result {
		return C.velmora_preferences_get_json(name, text)
	})
	if err != nil {
		return err
	}
	return json.Unmarshal([]byte(text), value)
}

// Remove removes a preference; what is not there is removed already.
func (velmora *Velmora) Remove(key string) error {
	return velmora.Do(func() error {
		return withKey(key, "velmora_preferences_remove", func(name *C.char) C.velmora_result {
			return C.velmora_preferences_remove(name)
		})
	})
}

// Observer is told of a change, on the SDK's thread, inside the write; nil where there is or was no
// value. The texts are JSON.
type Observer func(key string, newJSON, oldJSON *string)

// Observe tells of every change of the key until the function that it returns is called.
func (velmora *Velmora) Observe(key string, observer Observer) (end func(), err error) {
	number := held.add(observer)
	var observation *C.velmora_observer
	// Where this fails, the SDK releases the number.
	err = withKey(key, "velmora_preferences_observe", func(name *C.char) C.velmora_result {
		return C.bridge_observe(name, C.uintptr_t(number), &observation)
	})
	return func() { C.velmora_preferences_unobserve(observation) }, err
}

//export goChanged
func goChanged(key, newJSON, oldJSON *C.char, number C.uintptr_t) {
	if observer, ok := held.get(uintptr(number)).(Observer); ok {
		observer(C.GoString(key), optional(newJSON), optional(oldJSON))
	}
}

//export goRelease
func goRelease(number C.uintptr_t) { held.take(uintptr(number)) }

func optional(text *C.char) *string {
	if text == nil {
		return nil
	}
	copied := C.GoString(text)
	return &copied
}

func withKey(key, function string, call func(name *C.char) C.velmora_result) error {
	name, err := cText(key, function, "key")
	if err != nil {
		return err
	}
	defer C.free(unsafe.Pointer(name))
	return locked(function, func() C.velmora_result { return call(name) })
}
