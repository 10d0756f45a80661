using System.Text;

namespace LumManagedTests
{
    /// <summary>
    /// Native texts at the boundary: UTF-8 here. The file of the same name for Windows says what is otherwise there.
    /// </summary>
    internal static class NarrowTexts
    {
        /// <summary>Letters of two, three and four bytes.</summary>
        internal const string Letters = "\u00e9\u4e2d\U0001F600";

        /// <summary>What <see cref="Invalid"/> becomes in a text that people read.</summary>
        internal const string InvalidAsRead = "a\uFFFD(";

        /// <summary>Bytes that are no text.</summary>
        internal static readonly byte[] Invalid = { (byte)'a', 0xC3, 0x28 };

        private static readonly Encoding Strict = new UTF8Encoding(false, true);

        internal static byte[] Encode(string text)
        {
            return Strict.GetBytes(text);
        }

        internal static string Decode(byte[] bytes)
        {
            return Strict.GetString(bytes);
        }

        /// <summary>From now on the calling thread takes <see cref="Invalid"/> for no text, as all do here.</summary>
        internal static void RefuseInvalid()
        {
        }
    }
}
