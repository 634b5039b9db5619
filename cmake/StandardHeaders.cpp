// A source file for the target that compiles the standard library's headers.
