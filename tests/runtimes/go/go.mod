module ovix/readers

go 1.19

require google.golang.org/protobuf v1.33.0
