    void Run() {
        int answer = 42;
        int other;
    }
char const file[] = "answer=\"41\"\n";
