using System.Runtime.InteropServices;
using System.Text;

namespace LumManagedTests
{
    /// <summary>
    /// Native texts at the boundary: in the ANSI code page of each thread, which is the system's unless the thread has a
    /// locale of its own.
    /// </summary>
    internal static class NarrowTexts
    {
        /// <summary>Letters that the code pages of western languages have; the second is not in ISO 8859-1.</summary>
        internal const string Letters = "\u00e9\u20ac";

        /// <summary>What <see cref="Invalid"/> becomes in a text that people read, on a thread that refuses it.</summary>
        internal const string InvalidAsRead = "a\u30FB";

        /// <summary>The second byte is the first half of a character of code page 932.</summary>
        internal static readonly byte[] Invalid = { (byte)'a', 0x81 };

        private static readonly Encoding Strict = EncodingOf(GetACP());

        internal static byte[] Encode(string text)
        {
            return Strict.GetBytes(text);
        }

        internal static string Decode(byte[] bytes)
        {
            return Strict.GetString(bytes);
        }

        /// <summary>
        /// From now on the calling thread takes <see cref="Invalid"/> for no text: its code page is 932, while those of
        /// western languages have a character for each byte.
        /// </summary>
        internal static void RefuseInvalid()
        {
            const int japanese = 0x0411;
            SetLocale(japanese);
        }

        /// <summary>From now on the calling thread's texts are those of the locale.</summary>
        internal static void SetLocale(int locale)
        {
            Check.True(SetThreadLocale(locale), "the thread's locale was not set");
        }

        private static Encoding EncodingOf(int codePage)
        {
            Encoding.RegisterProvider(CodePagesEncodingProvider.Instance);
            return Encoding.GetEncoding(codePage, EncoderFallback.ExceptionFallback, DecoderFallback.ExceptionFallback);
        }

        [DllImport("kernel32", ExactSpelling = true)]
        private static extern int GetACP();

        [DllImport("kernel32", ExactSpelling = true)]
        [return: MarshalAs(UnmanagedType.Bool)]
        private static extern bool SetThreadLocale(int locale);
    }
}
