import java.io.File;
import java.io.FileNotFoundException;
import velq.NumberEntry;
import velq.Rating;
import velq.Velq;
import velq.VelqException;

/** Rates a message on the installation in the folder that is the first argument, and blocks the sender of spam. */
public final class FirstMessage {
    private FirstMessage() {}

    public static void main(String[] arguments) throws FileNotFoundException {
        String sender = "+447700900555";
        String body = "YOU HAVE WON A PRIZE, CALL NOW";
        try (Velq engine = new Velq(new File(arguments[0]))) {
            // Unprepared, these capitals would be lost in the engine's filter.
            Rating rating = engine.rate(Velq.prepare(body), sender);
            System.out.println(rating);
            if (rating != Rating.HAM) {
                engine.getBlackList().add(sender, "prize caller");
            }
            for (NumberEntry entry : engine.getBlackList()) {
                System.out.println(entry.getNumber() + " " + entry.getName());
            }
        } catch (VelqException.Busy busy) {
            System.out.println("A data update is running: try again later.");
        }
    }
}
