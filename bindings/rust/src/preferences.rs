use std::ffi::{c_void, CStr};
use std::os::raw::c_char;

use crate::error::{c_text, check, take_text, Result};
use crate::ffi;

/// A change: the key, the new and the old value as JSON.
type Changed = Box<dyn Fn(&str, Option<&str>, Option<&str>) + Send + Sync>;

/// Observes until it is dropped.
#[must_use]
pub struct Observation {
    observer: *mut ffi::Observer,
}

// SAFETY: an observation may be ended on any thread.
unsafe impl Send for Observation {}

impl Drop for Observation {
    fn drop(&mut self) {
        // SAFETY: ended once.
        unsafe { ffi::velmora_preferences_unobserve(self.observer) };
    }
}

pub(crate) fn set_string(key: &str, text: &str) -> Result<()> {
    const NAME: &str = "velmora_preferences_set_text";
    let key = c_text(key, NAME, "key")?;
    // SAFETY: both texts are valid during the call.
    check(NAME, unsafe {
        ffi::velmora_preferences_set_text(key.as_ptr(), text.as_ptr() as *const c_char, text.len())
    })
}

pub(crate) fn set_string_on_main_loop(key: &str, text: &str) -> Result<()> {
    const NAME: &str = "velmora_preferences_set_string_on_main_loop";
    let (key, text) = (c_text(key, NAME, "key")?, c_text(text, NAME, "text")?);
    // SAFETY: both texts are valid during the call.
    check(NAME, unsafe {
        ffi::velmora_preferences_set_string_on_main_loop(key.as_ptr(), text.as_ptr())
    })
}

pub(crate) fn set_json(key: &str, json: &str) -> Result<()> {
    const NAME: &str = "velmora_preferences_set_json";
    let (key, json) = (c_text(key, NAME, "key")?, c_text(json, NAME, "json")?);
    // SAFETY: both texts are valid during the call.
    check(NAME, unsafe { ffi::velmora_preferences_set_json(key.as_ptr(), json.as_ptr()) })
}

pub(crate) fn remove(key: &str) -> Result<()> {
    const NAME: &str = "velmora_preferences_remove";
    let key = c_text(key, NAME, "key")?;
    // SAFETY: the key is valid during the call.
    check(NAME, unsafe { ffi::velmora_preferences_remove(key.as_ptr()) })
}

pub(crate) fn string(key: &str) -> Result<String> {
    const NAME: &str = "velmora_preferences_get_string";
    let key = c_text(key, NAME, "key")?;
    let mut text = std::ptr::null_mut();
    let mut length = 0;
    // SAFETY: handed out is a text of that length, NULs included, which is ours to free.
    unsafe {
        check(NAME, ffi::velmora_preferences_get_string(key.as_ptr(), &mut text, &mut length))?;
        let bytes = std::slice::from_raw_parts(text as *const u8, length);
        let copied = String::from_utf8_lossy(bytes).into_owned();
        ffi::velmora_free(text as *mut c_void);
        Ok(copied)
    }
}

pub(crate) fn json(key: &str) -> Result<String> {
    const NAME: &str = "velmora_preferences_get_json";
    let key = c_text(key, NAME, "key")?;
    // SAFETY: the key is valid during the call.
    take_text(NAME, |text| unsafe { ffi::velmora_preferences_get_json(key.as_ptr(), text) })
}

pub(crate) fn observe(key: Option<&str>, changed: Changed) -> Result<Observation> {
    const NAME: &str = "velmora_preferences_observe";
    let key = key.map(|key| c_text(key, NAME, "key")).transpose()?;
    let mut observer = std::ptr::null_mut();
    let context = Box::into_raw(Box::new(changed)) as *mut c_void;
    // SAFETY: the context is released once, by the SDK, also where this fails.
    check(NAME, unsafe {
        ffi::velmora_preferences_observe(
            key.as_ref().map_or(std::ptr::null(), |key| key.as_ptr()),
            on_change,
            context,
            Some(release),
            &mut observer,
        )
    })?;
    Ok(Observation { observer })
}

extern "C" fn on_change(
    key: *const c_char,
    new: *const c_char,
    old: *const c_char,
    context: *mut c_void,
) {
    // SAFETY: texts that are valid during the call, or NULL.
    let text = |text: *const c_char| {
        (!text.is_null()).then(|| unsafe { CStr::from_ptr(text) }.to_string_lossy())
    };
    // SAFETY: what observe() gave, not released yet.
    let changed = unsafe { &*(context as *const Changed) };
    crate::guarded(|| {
        changed(&text(key).unwrap_or_default(), text(new).as_deref(), text(old).as_deref())
    });
}

extern "C" fn release(context: *mut c_void) {
    // SAFETY: what observe() gave, released once.
    crate::guarded(|| drop(unsafe { Box::from_raw(context as *mut Changed) }));
}
