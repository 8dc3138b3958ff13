// Placeholder until the server lands.
int main() { return 1; }
