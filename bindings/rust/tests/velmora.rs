//! One process, one SDK: the tests are one.
use std::os::unix::io::AsRawFd;
use std::sync::atomic::{AtomicUsize, Ordering};
use std::sync::Arc;
use velmorakit::{start, Kind, Options, TCF_V2};

#[test]
fn what_a_host_meets() {
    let folder = std::env::temp_dir().join(format!("velmora-rust-{}", std::process::id()));
    std::fs::create_dir_all(&folder).unwrap();
    let store = folder.join("store.db").to_string_lossy().into_owned();
    let lines = Arc::new(AtomicUsize::new(0));
    let counted = lines.clone();
    let options = |store_path: &str| Options {
        store_path: Some(store_path.to_string()),
        bundle_identifier: Some("com.example.tests".to_string()),
        ingest_base_address: Some("http://127.0.0.1:1/".to_string()),
        information_dictionary: Some(r#"{"VMRLogsEnabled": true}"#.to_string()),
        keep_unsent: true,
        ..Options::default()
    };
    let refused = start(options("a\0b"), "key", "secret").err().unwrap();
    assert_eq!((refused.kind, refused.function), (Kind::InvalidArgument, "velmora_configure_json"));
    let log = move |_: &str| {
        counted.fetch_add(1, Ordering::SeqCst);
    };
    let velmora =
        start(Options { log: Some(Box::new(log)), ..options(&store) }, "key", "secret").unwrap();
    assert_eq!(start(options(&store), "key", "secret").err().unwrap().kind, Kind::InvalidState);
    assert!(velmora.as_raw_fd() >= 0);
    let handle = velmora.handle();

    // Errors say where and what.
    let missing = handle.string("no such key").unwrap_err();
    assert_eq!(missing.kind, Kind::NotFound);
    assert_eq!(
        missing.to_string(),
        "velmora_preferences_get_string: nothing is stored under \"no such key\": set it first"
    );
    velmora.set_string("text", "a\0b").unwrap();
    assert_eq!(handle.string("text").unwrap(), "a\0b");
    velmora.set_json("list", "[1,2]").unwrap();
    assert_eq!(handle.string("list").unwrap_err().kind, Kind::WrongType);
    assert_eq!(handle.json("list").unwrap(), "[1,2]");
    velmora.remove("list").unwrap();
    assert_eq!(velmora.set_json("list", "[1").unwrap_err().kind, Kind::InvalidArgument);
    assert!(handle.diagnose().unwrap().contains("\"keepUnsent\":true"));
    assert!(handle.status().unwrap().contains("storedConsentEvents"));

    // Other threads hand over; a panic of theirs stops there.
    let changes = Arc::new(AtomicUsize::new(0));
    let seen = changes.clone();
    let observation = handle
        .observe(Some(TCF_V2), move |_, new, _| {
            assert_eq!(new, Some("\"CQtDjk\""));
            seen.fetch_add(1, Ordering::SeqCst);
        })
        .unwrap();
    let worker = std::thread::spawn(move || {
        handle.perform(|_| panic!("on purpose")).unwrap();
        handle.set_string(TCF_V2, "CQtDjk").unwrap();
        assert_eq!(handle.set_string("", "text").unwrap_err().kind, Kind::InvalidArgument);
        handle.perform(move |_| handle.stop().unwrap()).unwrap();
    });
    velmora.run().unwrap();
    worker.join().unwrap();
    assert_eq!(changes.load(Ordering::SeqCst), 1);
    drop(observation);
    assert_eq!(Arc::strong_count(&changes), 1, "the observer was not released");
    velmora.set_string(TCF_V2, "another").unwrap();
    assert!(lines.load(Ordering::SeqCst) > 0);
    velmora.erase().unwrap();
    assert!(handle.status().unwrap().contains("\"vmrId\":null"));
    std::fs::remove_dir_all(folder).unwrap();
}
