# The checks that clazy runs. String connections and connect-by-name are this project's way, so the
# checks that ask for others are off. Lambdas are connected in tests only, whose locals outlive them.

set(checks level0 level1
    no-connect-by-name
    no-lambda-in-connect
    no-overloaded-signal)
string(REPLACE ";" "," checks "${checks}")
add_compile_options("SHELL:-Xclang -plugin-arg-clazy -Xclang ${checks}")
