// The command `netrondo`.
int main()
{
    return 2;
}
