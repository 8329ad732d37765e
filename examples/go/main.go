// A command-line application in Go. Every line on standard input plays a consent tool: it is a new
// TCF v2 string.
//
//	export LD_LIBRARY_PATH=$(pkg-config --variable=libdir velmorakit)
//	VELMORA_INGEST=http://127.0.0.1:8080/ VELMORA_API_KEY=key VELMORA_SECRET=secret go run .
package main

import (
	"bufio"
	"fmt"
	"os"
	"time"

	velmorakit "velmora.example/kit"
)

func run() error {
	velmora, err := velmorakit.Start(velmorakit.Options{
		BundleIdentifier:  "com.example.go",
		AppVersion:        "1.0",
		KeepUnsent:        true, // a string may be set at any time, also while a post is under way
		IngestBaseAddress: os.Getenv("VELMORA_INGEST"),
		StorePath:         os.Getenv("VELMORA_STORE"),
	}, os.Getenv("VELMORA_API_KEY"), os.Getenv("VELMORA_SECRET"))
	if err != nil {
		return err
	}
	defer velmora.Close(5 * time.Second)
	// An application without windows comes to the foreground when it starts. This posts what an
	// earlier run could not.
	if err := velmora.WillEnterForeground(); err != nil {
		return err
	}
	for lines := bufio.NewScanner(os.Stdin); lines.Scan(); {
		if err := velmora.SetString(velmorakit.TCFv2, lines.Text()); err != nil {
			return err
		}
	}
	return nil
}

func main() {
	if err := run(); err != nil {
		fmt.Fprintln(os.Stderr, err)
		os.Exit(1)
	}
}
