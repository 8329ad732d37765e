# nix-build packaging/nix
{ pkgs ? import <nixpkgs> { } }:

pkgs.stdenv.mkDerivation {
  pname = "velmorakit";
  version = "1.0.0";
  src = ../..;

  nativeBuildInputs = with pkgs; [ cmake ninja pkg-config ];
  buildInputs = with pkgs; [ rapidjson msgpack-cxx ];
  # A host of the static library links these, too.
  propagatedBuildInputs = with pkgs; [ curl openssl sqlite zlib utf8proc ];
  cmakeFlags = [
    "-DVELMORAKIT_BUILD_TOOLS=OFF"
    "-DVELMORAKIT_BUILD_TESTS=OFF"
    "-DVELMORAKIT_BUILD_EXAMPLES=OFF"
  ];
  meta.description = "Embeddable consent and device reporting for Linux applications";
}
