//! The C interface, as far as the crate uses it: <VelmoraKit/velmora.h>.
use std::ffi::c_void;
use std::os::raw::{c_char, c_double, c_int};

pub type LogSink = extern "C" fn(c_int, *const c_char, usize, *mut c_void);
pub type WorkCallback = extern "C" fn(*mut c_void);
pub type ChangeCallback = extern "C" fn(*const c_char, *const c_char, *const c_char, *mut c_void);

#[repr(C)]
pub struct Observer {
    _private: [u8; 0],
}

extern "C" {
    pub fn velmora_last_error_message() -> *const c_char;
    pub fn velmora_free(memory: *mut c_void);
    pub fn velmora_configure_json(json: *const c_char) -> c_int;
    pub fn velmora_set_log_sink(sink: LogSink, context: *mut c_void) -> c_int;
    pub fn velmora_start(api_key: *const c_char, secret: *const c_char) -> c_int;
    pub fn velmora_is_started() -> c_int;
    pub fn velmora_erase() -> c_int;
    pub fn velmora_will_enter_foreground() -> c_int;
    pub fn velmora_run_loop_descriptor(descriptor: *mut c_int) -> c_int;
    pub fn velmora_run_loop_process() -> c_int;
    pub fn velmora_run_loop_run(seconds: c_double) -> c_int;
    pub fn velmora_run_loop_run_until_idle(seconds: c_double, settled: *mut c_int) -> c_int;
    pub fn velmora_run_loop_stop() -> c_int;
    pub fn velmora_run_loop_perform(work: WorkCallback, context: *mut c_void) -> c_int;
    pub fn velmora_preferences_set_text(
        key: *const c_char,
        text: *const c_char,
        length: usize,
    ) -> c_int;
    pub fn velmora_preferences_set_string_on_main_loop(
        key: *const c_char,
        text: *const c_char,
    ) -> c_int;
    pub fn velmora_preferences_set_json(key: *const c_char, json: *const c_char) -> c_int;
    pub fn velmora_preferences_get_string(
        key: *const c_char,
        text: *mut *mut c_char,
        length: *mut usize,
    ) -> c_int;
    pub fn velmora_preferences_get_json(key: *const c_char, json: *mut *mut c_char) -> c_int;
    pub fn velmora_preferences_remove(key: *const c_char) -> c_int;
    pub fn velmora_preferences_observe(
        key: *const c_char,
        callback: ChangeCallback,
        context: *mut c_void,
        release: Option<WorkCallback>,
        observer: *mut *mut Observer,
    ) -> c_int;
    pub fn velmora_preferences_unobserve(observer: *mut Observer) -> c_int;
    pub fn velmora_status_json(json: *mut *mut c_char) -> c_int;
    pub fn velmora_diagnose_json(json: *mut *mut c_char) -> c_int;
}
