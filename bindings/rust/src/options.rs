use std::ffi::c_void;
use std::os::raw::{c_char, c_int};

use crate::error::{c_text, check, Result};
use crate::ffi;

type Log = Box<dyn Fn(&str) + Send + Sync>;

/// What a host may say before the start. `None` and `false` mean the default; docs/reference.md
/// explains each.
#[derive(Default)]
pub struct Options {
    pub store_path: Option<String>,
    pub bundle_identifier: Option<String>,
    pub app_version: Option<String>,
    /// A JSON object.
    pub information_dictionary: Option<String>,
    pub ingest_base_address: Option<String>,
    pub system_version: Option<String>,
    pub identifier_for_vendor: Option<String>,
    pub advertising_identifier: Option<String>,
    pub tracking_status: u32,
    pub legacy_tracking: bool,
    pub certificate_authority_file: Option<String>,
    pub pinned_public_key: Option<String>,
    pub allow_proxy: bool,
    pub store_companion: bool,
    pub keep_unsent: bool,
    pub shared_folder: bool,
    /// Receives each line, on any thread; must not call the SDK.
    pub log: Option<Log>,
}

impl Options {
    pub(crate) fn configure(self) -> Result<()> {
        const NAME: &str = "velmora_configure_json";
        let json = c_text(&self.json(), NAME, "options")?;
        // SAFETY: the text is copied by the call.
        check(NAME, unsafe { ffi::velmora_configure_json(json.as_ptr()) })?;
        if let Some(log) = self.log {
            // The SDK's threads may write a line until the process ends: it is never freed.
            let sink = Box::into_raw(Box::new(log)) as *mut c_void;
            check("velmora_set_log_sink", unsafe { ffi::velmora_set_log_sink(write_line, sink) })?;
        }
        Ok(())
    }

    fn json(&self) -> String {
        let texts = [
            ("store_path", &self.store_path),
            ("bundle_identifier", &self.bundle_identifier),
            ("app_version", &self.app_version),
            ("information_dictionary", &self.information_dictionary),
            ("ingest_base_address", &self.ingest_base_address),
            ("system_version", &self.system_version),
            ("identifier_for_vendor", &self.identifier_for_vendor),
            ("advertising_identifier", &self.advertising_identifier),
            ("certificate_authority_file", &self.certificate_authority_file),
            ("pinned_public_key", &self.pinned_public_key),
        ];
        let numbers = [
            ("tracking_status", self.tracking_status),
            ("legacy_tracking", self.legacy_tracking.into()),
            ("allow_proxy", self.allow_proxy.into()),
            ("store_companion", self.store_companion.into()),
            ("keep_unsent", self.keep_unsent.into()),
            ("shared_folder", self.shared_folder.into()),
        ];
        let mut entries: Vec<String> = Vec::new();
        entries.extend(numbers.map(|(name, number)| format!("\"{name}\":{number}")));
        for (name, text) in texts {
            entries.extend(text.as_deref().map(|text| format!("\"{name}\":\"{}\"", escaped(text))));
        }
        format!("{{{}}}", entries.join(","))
    }
}

fn escaped(text: &str) -> String {
    let plain = |c: char| c >= ' ' && c != '"' && c != '\\';
    let one = |c| if plain(c) { String::from(c) } else { format!("\\u{:04x}", c as u32) };
    text.chars().map(one).collect()
}

extern "C" fn write_line(_level: c_int, line: *const c_char, length: usize, context: *mut c_void) {
    // SAFETY: what configure() gave; the line is valid during the call.
    let (log, bytes) = unsafe {
        (&*(context as *const Log), std::slice::from_raw_parts(line as *const u8, length))
    };
    crate::guarded(|| log(&String::from_utf8_lossy(bytes)));
}
