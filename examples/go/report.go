// Prints the report of a saved snapshot. Usage: report <SNAPSHOT
package main

/*
#cgo LDFLAGS: -legress-c
#include <stdlib.h>
#include <egress_c/egress.h>
*/
import "C"

import (
	"errors"
	"fmt"
	"io"
	"os"
)

// diagnose returns the report of a snapshot, or an error if it is not a snapshot.
func diagnose(snapshot []byte) (string, error) {
	text := C.CBytes(snapshot)
	defer C.free(text)
	result := C.egress_diagnose((*C.char)(text), C.size_t(len(snapshot)))
	defer C.egress_result_free(result)
	answer := C.GoStringN(C.egress_result_text(result), C.int(C.egress_result_length(result)))
	if C.egress_result_status(result) != C.EGRESS_OK {
		return "", errors.New(answer)
	}
	return answer, nil
}

func main() {
	snapshot, err := io.ReadAll(os.Stdin)
	if err != nil {
		fmt.Fprintln(os.Stderr, err)
		os.Exit(1)
	}
	report, err := diagnose(snapshot)
	if err != nil {
		fmt.Fprintln(os.Stderr, err)
		os.Exit(1)
	}
	fmt.Println(report)
}
