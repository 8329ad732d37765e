//! A command-line application in Rust. Every line on standard input plays a consent tool: it is a
//! new TCF v2 string.
//!
//!     export LD_LIBRARY_PATH=$(pkg-config --variable=libdir velmorakit)
//!     VELMORA_INGEST=http://127.0.0.1:8080/ VELMORA_API_KEY=key VELMORA_SECRET=secret cargo run
#![forbid(unsafe_code)]

use std::env::var;
use std::io::BufRead;
use velmorakit::{Options, TCF_V2};

fn main() -> Result<(), velmorakit::Error> {
    let options = Options {
        bundle_identifier: Some("com.example.rust".to_string()),
        app_version: Some("1.0".to_string()),
        keep_unsent: true, // a string may be set at any time, also while a post is under way
        ingest_base_address: var("VELMORA_INGEST").ok(),
        store_path: var("VELMORA_STORE").ok(),
        ..Options::default()
    };
    let key = var("VELMORA_API_KEY").unwrap_or_default();
    let secret = var("VELMORA_SECRET").unwrap_or_default();
    let velmora = velmorakit::start(options, &key, &secret)?;
    let handle = velmora.handle();
    // An application without windows comes to the foreground when it starts. This posts what an
    // earlier run could not.
    handle.will_enter_foreground()?;
    std::thread::spawn(move || {
        for line in std::io::stdin().lock().lines().flatten() {
            if let Err(error) = handle.set_string(TCF_V2, &line) {
                eprintln!("{error}");
            }
        }
        handle.stop()
    });
    velmora.run()?;
    velmora.run_until_idle(5.0)?; // whatever cannot be posted now is stored
    Ok(())
}
