package velq;

import java.io.File;
import java.io.IOException;

/** Empty installations, laid out by the program that VELQ_LAY_OUT names. */
final class Installation {
    private Installation() {}

    static File layOut(File folder) throws IOException, InterruptedException {
        run(System.getenv("VELQ_LAY_OUT"), folder.getPath());
        return folder;
    }

    /** A file of both kinds of updates: the white number 13800009999, and the spam words free, cash and call. */
    static File layOutUpdate(File folder) throws IOException, InterruptedException {
        File update = new File(folder, "update.bin");
        run(System.getenv("VELQ_LAY_OUT"), new File(folder, "beside").getPath(), update.getPath());
        return update;
    }

    private static void run(String... command) throws IOException, InterruptedException {
        Process process = new ProcessBuilder(command)
                .redirectOutput(ProcessBuilder.Redirect.DISCARD)
                .redirectError(ProcessBuilder.Redirect.INHERIT)
                .start();
        if (process.waitFor() != 0) {
            throw new IOException("failed: " + String.join(" ", command));
        }
    }

    static File data(File folder) {
        return new File(folder, "Quenlibra/Tarvolent/data");
    }
}
