//! VelmoraKit for Rust: watches the consent strings in the application's preferences and posts every
//! change to the ingest service.
//!
//! [`start`] gives a [`Velmora`], which is neither `Send` nor `Sync`: what belongs to the thread that
//! started the SDK cannot be called elsewhere. Other threads have a [`Handle`].
//!
//! ```compile_fail,E0277
//! fn elsewhere(velmora: velmorakit::Velmora) {
//!     std::thread::spawn(move || velmora.set_string(velmorakit::TCF_V2, "CQtDjk"));
//! }
//! ```
//! ```no_run
//! fn elsewhere(handle: velmorakit::Handle) {
//!     std::thread::spawn(move || handle.set_string(velmorakit::TCF_V2, "CQtDjk"));
//! }
//! ```
#![deny(rust_2018_idioms, unsafe_op_in_unsafe_fn)]

mod error;
mod ffi;
mod options;
mod preferences;

use std::ffi::c_void;
use std::marker::PhantomData;
use std::os::raw::c_int;
use std::os::unix::io::{AsRawFd, RawFd};
use std::sync::Mutex;

pub use error::{Error, Kind, Result};
pub use options::Options;
pub use preferences::Observation;

use error::{c_text, check, take_text};

pub const TCF_V2: &str = "IABTCF_TCString";
pub const TCF_V1: &str = "IABConsent_ConsentString";

/// The SDK, one a process, on the thread that started it. To a loop it is a descriptor to be watched
/// for reading.
pub struct Velmora {
    descriptor: RawFd,
    here: PhantomData<*const ()>,
}

/// What any thread may call.
#[derive(Clone, Copy, Debug)]
pub struct Handle(());

/// Once; the calling thread becomes the main run loop's.
pub fn start(options: Options, api_key: &str, secret: &str) -> Result<Velmora> {
    const NAME: &str = "velmora_start";
    static ONE: Mutex<()> = Mutex::new(());
    let _one = ONE.lock().unwrap_or_else(|poisoned| poisoned.into_inner());
    // SAFETY: the texts are valid during the calls.
    if unsafe { ffi::velmora_is_started() } != 0 {
        let message = "the SDK is started already: start it once".to_string();
        return Err(Error { kind: Kind::InvalidState, function: NAME, message });
    }
    options.configure()?;
    let (key, secret) = (c_text(api_key, NAME, "api_key")?, c_text(secret, NAME, "secret")?);
    check(NAME, unsafe { ffi::velmora_start(key.as_ptr(), secret.as_ptr()) })?;
    let mut descriptor: c_int = -1;
    check("velmora_run_loop_descriptor", unsafe {
        ffi::velmora_run_loop_descriptor(&mut descriptor)
    })?;
    Ok(Velmora { descriptor, here: PhantomData })
}

impl AsRawFd for Velmora {
    fn as_raw_fd(&self) -> RawFd {
        self.descriptor
    }
}

// SAFETY of the calls below: texts are valid during a call, and nothing else is handed over.
impl Velmora {
    pub fn handle(&self) -> Handle {
        Handle(())
    }
    /// Handles what is due: to be called when the descriptor is readable.
    pub fn process(&self) -> Result<()> {
        check("velmora_run_loop_process", unsafe { ffi::velmora_run_loop_process() })
    }
    /// Until [`Handle::stop`].
    pub fn run(&self) -> Result<()> {
        check("velmora_run_loop_run", unsafe { ffi::velmora_run_loop_run(-1.0) })
    }
    /// Until nothing is outstanding, at most that long. True when nothing is.
    pub fn run_until_idle(&self, seconds: f64) -> Result<bool> {
        let mut settled = 0;
        check("velmora_run_loop_run_until_idle", unsafe {
            ffi::velmora_run_loop_run_until_idle(seconds, &mut settled)
        })?;
        Ok(settled != 0)
    }
    /// Sets a preference, a consent string above all.
    pub fn set_string(&self, key: &str, text: &str) -> Result<()> {
        preferences::set_string(key, text)
    }
    /// Sets a preference to anything that JSON can say, or a tagged object for what it lacks.
    pub fn set_json(&self, key: &str, json: &str) -> Result<()> {
        preferences::set_json(key, json)
    }
    pub fn remove(&self, key: &str) -> Result<()> {
        preferences::remove(key)
    }
    /// Stops the SDK and removes all that it keeps. It starts again with the next process.
    pub fn erase(&self) -> Result<()> {
        check("velmora_erase", unsafe { ffi::velmora_erase() })
    }
}

impl Handle {
    /// Has the SDK's thread call `work`, after what was handed over before; returns at once.
    pub fn perform(&self, work: impl FnOnce(&Velmora) + Send + 'static) -> Result<()> {
        let context = Box::into_raw(Box::new(Box::new(work) as Work));
        // SAFETY: called once, or, where this fails, never.
        let result = check("velmora_run_loop_perform", unsafe {
            ffi::velmora_run_loop_perform(call_once, context as *mut c_void)
        });
        if result.is_err() {
            drop(unsafe { Box::from_raw(context) });
        }
        result
    }
    /// Has the SDK's thread set a preference, a consent string above all; returns at once.
    pub fn set_string(&self, key: &str, text: &str) -> Result<()> {
        preferences::set_string_on_main_loop(key, text)
    }
    pub fn string(&self, key: &str) -> Result<String> {
        preferences::string(key)
    }
    /// A preference of any type.
    pub fn json(&self, key: &str) -> Result<String> {
        preferences::json(key)
    }
    /// `changed(key, new, old)` with JSON, on the thread that made the change, inside its write.
    pub fn observe(
        &self,
        key: Option<&str>,
        changed: impl Fn(&str, Option<&str>, Option<&str>) + Send + Sync + 'static,
    ) -> Result<Observation> {
        preferences::observe(key, Box::new(changed))
    }
    /// Ends [`Velmora::run`].
    pub fn stop(&self) -> Result<()> {
        check("velmora_run_loop_stop", unsafe { ffi::velmora_run_loop_stop() })
    }
    /// Counts a launch and posts what waits.
    pub fn will_enter_foreground(&self) -> Result<()> {
        check("velmora_will_enter_foreground", unsafe { ffi::velmora_will_enter_foreground() })
    }
    /// What is stored and what was sent, as JSON.
    pub fn status(&self) -> Result<String> {
        take_text("velmora_status_json", |json| unsafe { ffi::velmora_status_json(json) })
    }
    /// What would keep the SDK from working here, as JSON.
    pub fn diagnose(&self) -> Result<String> {
        take_text("velmora_diagnose_json", |json| unsafe { ffi::velmora_diagnose_json(json) })
    }
}

type Work = Box<dyn FnOnce(&Velmora) + Send>;

extern "C" fn call_once(context: *mut c_void) {
    // SAFETY: what perform() gave, called once.
    let work = unsafe { Box::from_raw(context as *mut Work) };
    let mut descriptor: c_int = -1;
    unsafe { ffi::velmora_run_loop_descriptor(&mut descriptor) };
    guarded(|| work(&Velmora { descriptor, here: PhantomData }));
}

/// A panic must not cross C: its message was written, and the SDK goes on.
fn guarded(work: impl FnOnce()) {
    let _ = std::panic::catch_unwind(std::panic::AssertUnwindSafe(work));
}
