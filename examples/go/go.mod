module velmora.example/host

go 1.19

require velmora.example/kit v1.0.0

replace velmora.example/kit => ../../bindings/go
