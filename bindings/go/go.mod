module velmora.example/kit

go 1.19
