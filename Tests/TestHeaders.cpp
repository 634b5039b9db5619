// A source file for the target that compiles the headers of GoogleTest.
