/** What is left out has its default; docs/reference.md explains each. */
export interface Options {
  storePath?: string;
  bundleIdentifier?: string;
  appVersion?: string;
  informationDictionary?: object;
  ingestBaseAddress?: string;
  systemVersion?: string;
  identifierForVendor?: string;
  advertisingIdentifier?: string;
  trackingStatus?: 0 | 1 | 2 | 3;
  legacyTracking?: boolean;
  certificateAuthorityFile?: string;
  pinnedPublicKey?: string;
  allowProxy?: boolean;
  storeCompanion?: boolean;
  keepUnsent?: boolean;
  sharedFolder?: boolean;
}

/** What a refused call throws. */
export interface VelmoraError extends Error {
  code: string;
  function: string;
}

/** null removes. {"$date": seconds}, {"$data": "hexadecimal"} and {"$real": "nan"} stand for what JSON lacks. */
export type Value = null | boolean | number | string | Value[] | { [key: string]: Value };

export const TCF_V2: string;
export const TCF_V1: string;

/** Once a process; the SDK belongs to the calling thread, and every other function here with it. */
export function start(options: Options, apiKey: string | undefined, secret: string | undefined): void;
export function set(key: string, value: Value): void;
/** undefined where nothing is stored. */
export function get(key: string): Value | undefined;
export function remove(key: string): void;
/** Of every key where it is undefined. What is returned ends it. */
export function observe(
  key: string | undefined,
  callback: (key: string, newValue: Value | undefined, oldValue: Value | undefined) => void,
): () => void;
/** Counts a launch and posts what waits. */
export function willEnterForeground(): void;
/** Stops the SDK and removes all that it keeps. It starts again with the next process. */
export function erase(): void;
/** Waits until nothing is outstanding, at most that long: for the end of the application. */
export function runUntilIdle(seconds: number): boolean;
/** What is stored and what was sent. */
export function status(): { [key: string]: Value };
/** What would keep the SDK from working here. */
export function diagnose(): { [key: string]: Value };
