use std::ffi::{c_void, CString};
use std::os::raw::c_char;

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

const CONFIGURE: &str = "velmora_configure";

impl Options {
    pub(crate) fn configure(self) -> Result<()> {
        // SAFETY: a structure of numbers and pointers; init sets all of it.
        let mut given: ffi::Options = unsafe { std::mem::zeroed() };
        check("velmora_options_init", unsafe {
            ffi::velmora_options_init(&mut given, std::mem::size_of::<ffi::Options>())
        })?;
        let mut kept: Vec<CString> = Vec::new();
        let texts: [(&Option<String>, &mut *const c_char, &str); 10] = [
            (&self.store_path, &mut given.store_path, "store_path"),
            (&self.bundle_identifier, &mut given.bundle_identifier, "bundle_identifier"),
            (&self.app_version, &mut given.app_version, "app_version"),
            (&self.information_dictionary, &mut given.information_dictionary, "information_dictionary"),
            (&self.ingest_base_address, &mut given.ingest_base_address, "ingest_base_address"),
            (&self.system_version, &mut given.system_version, "system_version"),
            (&self.identifier_for_vendor, &mut given.identifier_for_vendor, "identifier_for_vendor"),
            (&self.advertising_identifier, &mut given.advertising_identifier, "advertising_identifier"),
            (
                &self.certificate_authority_file,
                &mut given.certificate_authority_file,
                "certificate_authority_file",
            ),
            (&self.pinned_public_key, &mut given.pinned_public_key, "pinned_public_key"),
        ];
        for (from, to, name) in texts {
            if let Some(text) = from {
                let text = c_text(text, CONFIGURE, name)?;
                *to = text.as_ptr();
                kept.push(text); // moving it leaves its characters where they are
            }
        }
        given.tracking_status = self.tracking_status;
        given.legacy_tracking = self.legacy_tracking.into();
        given.allow_proxy = self.allow_proxy.into();
        given.store_companion = self.store_companion.into();
        given.keep_unsent = self.keep_unsent.into();
        given.shared_folder = self.shared_folder.into();
        let mut sink = std::ptr::null_mut();
        if let Some(log) = self.log {
            // The SDK's threads may write a line until the process ends: it is freed only if refused.
            sink = Box::into_raw(Box::new(log));
            given.log_callback = Some(write_line);
            given.log_context = sink as *mut c_void;
        }
        // SAFETY: the texts live until the call returns, which copies them.
        let result = check(CONFIGURE, unsafe { ffi::velmora_configure(&given) });
        if result.is_err() && !sink.is_null() {
            // SAFETY: made above, and not taken.
            drop(unsafe { Box::from_raw(sink) });
        }
        result
    }
}

extern "C" fn write_line(line: *const c_char, length: usize, context: *mut c_void) {
    // SAFETY: what configure() gave; the line is valid during the call.
    let (log, bytes) = unsafe {
        (&*(context as *const Log), std::slice::from_raw_parts(line as *const u8, length))
    };
    crate::guarded(|| log(&String::from_utf8_lossy(bytes)));
}
