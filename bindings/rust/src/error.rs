use std::ffi::{c_void, CStr, CString};
use std::fmt;
use std::os::raw::{c_char, c_int};

use crate::ffi;

/// What kind of error it is.
#[derive(Clone, Copy, Debug, PartialEq, Eq)]
#[non_exhaustive]
pub enum Kind {
    InvalidArgument,
    InvalidUtf8,
    TooLong,
    InvalidState,
    NotFound,
    WrongType,
    WrongThread,
    ForkedChild,
    OutOfMemory,
    Internal,
    StoreUnavailable,
}

impl Kind {
    fn of(code: c_int) -> Kind {
        match code {
            1 => Kind::InvalidArgument,
            2 => Kind::InvalidUtf8,
            3 => Kind::TooLong,
            4 => Kind::InvalidState,
            5 => Kind::NotFound,
            6 => Kind::WrongType,
            7 => Kind::WrongThread,
            8 => Kind::ForkedChild,
            9 => Kind::OutOfMemory,
            11 => Kind::StoreUnavailable,
            _ => Kind::Internal,
        }
    }
}

/// Which function of the C interface refused, what was wrong and what to do.
#[derive(Clone, Debug)]
pub struct Error {
    pub kind: Kind,
    pub function: &'static str,
    pub message: String,
}

impl fmt::Display for Error {
    fn fmt(&self, formatter: &mut fmt::Formatter<'_>) -> fmt::Result {
        write!(formatter, "{}: {}", self.function, self.message)
    }
}

impl std::error::Error for Error {}

pub type Result<T> = std::result::Result<T, Error>;

/// Turns the result of a call that this thread has just made into an error.
pub(crate) fn check(function: &'static str, code: c_int) -> Result<()> {
    if code == 0 {
        return Ok(());
    }
    // SAFETY: never NULL, valid until this thread's next call.
    let message = unsafe { CStr::from_ptr(ffi::velmora_last_error_message()) };
    Err(Error { kind: Kind::of(code), function, message: message.to_string_lossy().into_owned() })
}

/// What C would cut off at a NUL is refused.
pub(crate) fn c_text(text: &str, function: &'static str, what: &str) -> Result<CString> {
    CString::new(text).map_err(|_| Error {
        kind: Kind::InvalidArgument,
        function,
        message: format!("\"{what}\" contains a NUL, which ends it: leave it out"),
    })
}

/// The text that `read` hands out.
pub(crate) fn take_text(
    function: &'static str,
    read: impl FnOnce(*mut *mut c_char) -> c_int,
) -> Result<String> {
    let mut text = std::ptr::null_mut();
    check(function, read(&mut text))?;
    // SAFETY: the call succeeded, so this is a text that is ours to free.
    unsafe {
        let copied = CStr::from_ptr(text).to_string_lossy().into_owned();
        ffi::velmora_free(text as *mut c_void);
        Ok(copied)
    }
}
