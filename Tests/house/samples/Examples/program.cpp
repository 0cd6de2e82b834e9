    void Run() {
        int answer = 42;
        int other;
    }
