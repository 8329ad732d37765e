package velmorakit

// #include "bridge.h"
import "C"

import (
	"runtime"
	"strings"
	"unsafe"
)

// Code says what kind of error it is; it is itself an error, for errors.Is.
type Code int

// The kinds of errors of a call.
const (
	InvalidArgument  Code = C.VELMORA_INVALID_ARGUMENT
	InvalidUTF8      Code = C.VELMORA_INVALID_UTF8
	TooLong          Code = C.VELMORA_TOO_LONG
	InvalidState     Code = C.VELMORA_INVALID_STATE
	NotFound         Code = C.VELMORA_NOT_FOUND
	WrongType        Code = C.VELMORA_WRONG_TYPE
	WrongThread      Code = C.VELMORA_WRONG_THREAD
	ForkedChild      Code = C.VELMORA_FORKED_CHILD
	OutOfMemory      Code = C.VELMORA_OUT_OF_MEMORY
	Internal         Code = C.VELMORA_INTERNAL
	StoreUnavailable Code = C.VELMORA_STORE_UNAVAILABLE
)

func (code Code) Error() string { return C.GoString(C.velmora_strerror(C.int(code))) }

// Error says which function of the C interface refused, what was wrong and what to do.
type Error struct {
	Code     Code
	Function string
	Message  string
}

func (err *Error) Error() string { return err.Function + ": " + err.Message }

// Unwrap makes errors.Is(err, NotFound) work.
func (err *Error) Unwrap() error { return err.Code }

// check is for a thread that is locked: the message is the calling thread's.
func check(function string, result C.velmora_result) error {
	if result == C.VELMORA_OK {
		return nil
	}
	return &Error{Code(result), function, C.GoString(C.velmora_last_error_message())}
}

// locked makes a call that any thread may make.
func locked(function string, call func() C.velmora_result) error {
	runtime.LockOSThread()
	defer runtime.UnlockOSThread()
	return check(function, call())
}

// cText gives a text that the caller frees; what C would cut off at a NUL is refused.
func cText(text, function, what string) (*C.char, error) {
	if strings.IndexByte(text, 0) >= 0 {
		message := `"` + what + `" contains a NUL, which ends it: leave it out`
		return nil, &Error{InvalidArgument, function, message}
	}
	return C.CString(text), nil
}

func takeText(function string, read func(**C.char) C.velmora_result) (string, error) {
	var text *C.char
	if err := locked(function, func() C.velmora_result { return read(&text) }); err != nil {
		return "", err
	}
	defer C.velmora_free(unsafe.Pointer(text))
	return C.GoString(text), nil
}
