// Package velmorakit watches the consent strings in the application's preferences and posts every
// change to the ingest service.
//
// The SDK belongs to one thread, which the package starts and locks: every function here may be
// called from any goroutine, and is carried out there. Changes are reported there as well; an
// Observer, or what Do is given, must not wait for another call of the package.
package velmorakit

// #cgo pkg-config: velmorakit
// #include "bridge.h"
import "C"

import (
	"encoding/json"
	"runtime"
	"sync"
	"time"
	"unsafe"
)

// The keys of the consent strings.
const (
	TCFv2 = "IABTCF_TCString"
	TCFv1 = "IABConsent_ConsentString"
)

// Velmora is the SDK, one a process.
type Velmora struct {
	ended chan struct{}
	end   sync.Once
	grace time.Duration
}

// Start gives the SDK its options and starts it on a thread of its own. Once: a later call fails.
func Start(options Options, apiKey, secret string) (*Velmora, error) {
	velmora := &Velmora{ended: make(chan struct{})}
	started := make(chan error)
	go func() {
		// Never unlocked: the thread ends with the goroutine, as nothing else may run there.
		runtime.LockOSThread()
		err := start(options, apiKey, secret)
		started <- err
		if err != nil {
			return
		}
		C.velmora_run_loop_run(-1)
		var settled C.int
		C.velmora_run_loop_run_until_idle(C.double(velmora.grace.Seconds()), &settled)
		close(velmora.ended)
	}()
	return velmora, <-started
}

func start(options Options, apiKey, secret string) error {
	if C.velmora_is_started() != 0 {
		return &Error{InvalidState, "velmora_start", "the SDK is started already: start it once"}
	}
	if err := options.configure(); err != nil {
		return err
	}
	key, err := cText(apiKey, "velmora_start", "api_key")
	if err != nil {
		return err
	}
	defer C.free(unsafe.Pointer(key))
	word, err := cText(secret, "velmora_start", "secret")
	if err != nil {
		return err
	}
	defer C.free(unsafe.Pointer(word))
	return check("velmora_start", C.velmora_start(key, word))
}

// Close lets a post that is under way or due end, at most that long, and ends the SDK's thread. What
// could not be posted is stored. The SDK cannot be started again in this process.
func (velmora *Velmora) Close(grace time.Duration) {
	velmora.end.Do(func() {
		velmora.grace = grace
		C.velmora_run_loop_stop()
	})
	<-velmora.ended
}

// Do carries out work on the SDK's thread, after what was handed over before, and waits for it. What
// work sets and reads there is not interleaved with others.
func (velmora *Velmora) Do(work func() error) error {
	outcome := make(chan error, 1)
	number := held.add(func() { outcome <- work() })
	if err := locked("velmora_run_loop_perform", func() C.velmora_result {
		return C.bridge_perform(C.uintptr_t(number))
	}); err != nil {
		held.take(number)
		return err
	}
	select {
	case err := <-outcome:
		return err
	case <-velmora.ended:
		held.take(number)
		return &Error{InvalidState, "velmora_run_loop_perform", "the SDK was closed"}
	}
}

//export goWork
func goWork(number C.uintptr_t) {
	if work, ok := held.take(uintptr(number)).(func()); ok {
		work()
	}
}

// WillEnterForeground counts a launch and posts what waits.
func (velmora *Velmora) WillEnterForeground() error {
	return locked("velmora_will_enter_foreground", func() C.velmora_result {
		return C.velmora_will_enter_foreground()
	})
}

// Erase stops the SDK and removes all that it keeps. It starts again with the next process.
func (velmora *Velmora) Erase() error {
	return velmora.Do(func() error { return check("velmora_erase", C.velmora_erase()) })
}

// Status tells what is stored and what was sent.
func (velmora *Velmora) Status() (map[string]any, error) {
	return document("velmora_status_json", func(text **C.char) C.velmora_result {
		return C.velmora_status_json(text)
	})
}

// Diagnose tells what would keep the SDK from working here.
func (velmora *Velmora) Diagnose() (map[string]any, error) {
	return document("velmora_diagnose_json", func(text **C.char) C.velmora_result {
		return C.velmora_diagnose_json(text)
	})
}

func document(function string, read func(**C.char) C.velmora_result) (map[string]any, error) {
	text, err := takeText(function, read)
	if err != nil {
		return nil, err
	}
	var values map[string]any
	return values, json.Unmarshal([]byte(text), &values)
}
