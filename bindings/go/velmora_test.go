package velmorakit

import (
	"errors"
	"fmt"
	"os"
	"path/filepath"
	"sync"
	"testing"
)

var velmora *Velmora

func TestMain(main *testing.M) {
	folder, err := os.MkdirTemp("", "velmora")
	if err == nil {
		velmora, err = Start(Options{
			BundleIdentifier:  "com.example.tests",
			StorePath:         filepath.Join(folder, "store.db"),
			IngestBaseAddress: "http://127.0.0.1:1/",
			KeepUnsent:        true,
			Log:               func(string) {},
		}, "key", "secret")
	}
	if err != nil {
		panic(err)
	}
	status := main.Run()
	if err := velmora.Erase(); err != nil {
		fmt.Println("erasing:", err)
		status = 1
	}
	if kept, err := velmora.Status(); err != nil || kept["vmrId"] != nil {
		fmt.Println("after erasing:", kept, err)
		status = 1
	}
	velmora.Close(0)
	if err := velmora.SetString("k", "late"); !errors.Is(err, InvalidState) {
		fmt.Println("a call after the end:", err)
		status = 1
	}
	os.RemoveAll(folder)
	os.Exit(status)
}

func TestErrorsSayWhereAndWhat(t *testing.T) {
	var value string
	err := velmora.Get("no such key", &value)
	if !errors.Is(err, NotFound) || errors.Is(err, WrongType) {
		t.Error(err)
	}
	const message = `velmora_preferences_get_json: nothing is stored under "no such key": set it first`
	if err.Error() != message {
		t.Error(err)
	}
	for text, code := range map[string]Code{"": InvalidArgument, "k\x00": InvalidArgument, "\xff": InvalidUTF8} {
		if err := velmora.SetString(text, "v"); !errors.Is(err, code) {
			t.Errorf("%q: %v", text, err)
		}
	}
	if _, err := Start(Options{}, "key", "secret"); !errors.Is(err, InvalidState) {
		t.Error(err)
	}
	if err := (Options{StorePath: "\xff"}).configure(); !errors.Is(err, InvalidUTF8) {
		t.Error(err)
	}
}

// Whatever thread a goroutine is on, its write is made by the SDK's thread, whose message it gets.
func TestEveryGoroutineMaySet(t *testing.T) {
	var told sync.WaitGroup
	end, err := velmora.Observe("goroutines", func(string, *string, *string) { told.Done() })
	if err != nil {
		t.Fatal(err)
	}
	told.Add(200)
	for i := 0; i < 200; i++ {
		go func(i int) {
			if err := velmora.Set("goroutines", i); err != nil {
				t.Error(err)
			}
			if err := velmora.Set("", i); !errors.Is(err, InvalidArgument) {
				t.Error(err)
			}
		}(i)
	}
	told.Wait()
	end()
	if err := velmora.Set("goroutines", []any{1, "2", nil}); err != nil {
		t.Error(err)
	}
	var list []any
	if err := velmora.Get("goroutines", &list); err != nil || len(list) != 3 {
		t.Error(list, err)
	}
}

func TestTheReportsAreRead(t *testing.T) {
	diagnosis, err := velmora.Diagnose()
	if err != nil || diagnosis["consents"].(map[string]any)["keepUnsent"] != true {
		t.Error(diagnosis, err)
	}
	if status, err := velmora.Status(); err != nil || status["storedConsentEvents"] == nil {
		t.Error(status, err)
	}
}

func TestDoIsCarriedOutInOrder(t *testing.T) {
	var order []int
	for i := 0; i < 10; i++ {
		err := velmora.Do(func() error {
			order = append(order, i)
			return errors.New("mine")
		})
		if err == nil || err.Error() != "mine" || len(order) != i+1 || order[i] != i {
			t.Error(order, err)
		}
	}
}
