//! Asks pkg-config where the library is.
use std::process::Command;

fn main() {
    println!("cargo:rerun-if-env-changed=PKG_CONFIG_PATH");
    let output = Command::new("pkg-config").args(["--libs", "velmorakit"]).output();
    let words = match output {
        Ok(output) if output.status.success() => String::from_utf8_lossy(&output.stdout).into_owned(),
        Ok(output) => panic!("{}", String::from_utf8_lossy(&output.stderr)),
        Err(error) => panic!("pkg-config cannot be run: {error}"),
    };
    for word in words.split_whitespace() {
        if let Some(folder) = word.strip_prefix("-L") {
            println!("cargo:rustc-link-search=native={folder}");
        } else if let Some(library) = word.strip_prefix("-l") {
            println!("cargo:rustc-link-lib=dylib={library}");
        }
    }
}
